#include "Base64Text.h"

#include <algorithm>
#include <array>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
constexpr quint8 Padding = 64;

/// The place of each character in the alphabet; what is beyond the padding is ignored.
constexpr auto Places = [] {
    std::array<quint8, 256> places{};
    for (std::size_t c = 0; c < places.size(); ++c)
        places[c] = static_cast<quint8>(std::min(Alphabet.find(static_cast<char>(c)), Alphabet.size()));
    return places;
}();

} // namespace

QString Base64Text::encode(const QByteArray& bytes) {
    constexpr qsizetype LineLength = 64;
    QString text = QString::fromLatin1(bytes.toBase64());
    for (qsizetype at = LineLength; at < text.size(); at += LineLength + 2)
        text.insert(at, "\r\n"_L1);
    return text.isNull() ? u""_s : text;
}

std::optional<QByteArray> Base64Text::decode(QStringView text) {
    QByteArray bytes(text.size() / 4 * 3 + 3, Qt::Uninitialized);
    char* end = bytes.data();
    quint32 group = 0;
    qsizetype letters = 0;
    qsizetype padding = 0;
    for (const QChar c : text) {
        const quint8 place = Places[static_cast<unsigned char>(c.toLatin1())];
        if (place > Padding)
            continue;
        if (place < Padding && padding > 0)
            return std::nullopt;
        group = group << 6 | (place & 63);
        padding += place == Padding;
        if (++letters % 4 != 0)
            continue;
        for (const int shift : {16, 8, 0})
            *end++ = static_cast<char>(group >> shift);
    }
    if (letters % 4 != 0 || padding > 2)
        return std::nullopt;
    bytes.truncate(end - bytes.constData() - padding);
    return bytes;
}
