#include "Base64Text.h"

using namespace Qt::StringLiterals;

QString Base64Text::encode(const QByteArray& bytes) {
    constexpr qsizetype LineLength = 64;
    QString text = QString::fromLatin1(bytes.toBase64());
    for (qsizetype at = LineLength; at < text.size(); at += LineLength + 2)
        text.insert(at, "\r\n"_L1);
    return text.isNull() ? u""_s : text;
}

std::optional<QByteArray> Base64Text::decode(QStringView text) {
    QByteArray letters = text.toLatin1();
    letters.removeIf([](char c) {
        return !((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' ||
            c == '=');
    });
    // The toolkit would do without padding.
    if (letters.size() % 4 != 0)
        return std::nullopt;
    const auto decoding = QByteArray::fromBase64Encoding(std::move(letters), QByteArray::AbortOnBase64DecodingErrors);
    return decoding ? std::optional(decoding.decoded) : std::nullopt;
}
