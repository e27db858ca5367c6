#include "StringExtension.h"

#include "Base64Text.h"
#include "LibraryCipher.h"

#include <QFontMetricsF>
#include <QRegularExpression>

#include <algorithm>
#include <climits>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype BlockSize = 16;

/// Reads like the platform's number parser: blanks, a sign and digits count, what follows does not, too large a number
/// is the largest.
quint32 addressPart(const QString& part) {
    const long value = std::strtol(part.toLatin1().constData(), nullptr, 10);
    return static_cast<quint32>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

/// The address as one number; nothing unless it has four parts.
std::optional<quint32> addressNumber(const QString& address) {
    const QStringList parts = address.split(u'.');
    if (parts.size() != 4)
        return std::nullopt;
    return (addressPart(parts[0]) << 24) + (addressPart(parts[1]) << 16) + (addressPart(parts[2]) << 8) +
        addressPart(parts[3]);
}

/// @p input through AES-128 in ECB mode with padding; nothing when the library refuses.
std::optional<QByteArray> cryptAes(const QByteArray& input, const QString& key, int encrypt) {
    const WipedBytes keyBytes(key.toUtf8().leftJustified(BlockSize, '\0'));
    return throughCipher(EVP_aes_128_ecb(), keyBytes.data(), nullptr, input, encrypt);
}

} // namespace

bool StringExtension::isLetter(const QString& text) {
    return std::any_of(text.begin(), text.end(), [](QChar c) {
        // The low byte alone on purpose: a character beyond ASCII counts when its low byte is that of a letter.
        const int low = c.unicode() & 0xff;
        return (low >= 'A' && low <= 'Z') || (low >= 'a' && low <= 'z');
    });
}

bool StringExtension::isValidatIP(const QString& text) {
    if (text.isEmpty())
        return false;
    if (isLetter(text) && text.contains(u'.'))
        return true;
    static const QRegularExpression dotted(
        QRegularExpression::anchoredPattern(uR"(^([01]?\d\d?|2[0-4]\d|25[0-5])\.([01]?\d\d?|2[0-4]\d|25[0-5]))"
                                            R"(\.([01]?\d\d?|2[0-4]\d|25[0-5])\.([01]?\d\d?|2[0-4]\d|25[0-5])$)"_s));
    return dotted.match(text).hasMatch();
}

bool StringExtension::ifINIPSegment(const QString& segment, const QString& address) {
    const QStringList ends = segment.split(u'-');
    if (ends.size() != 2)
        return false;
    const std::optional<quint32> first = addressNumber(ends[0]);
    const std::optional<quint32> last = addressNumber(ends[1]);
    const std::optional<quint32> tested = addressNumber(address);
    return first && last && tested && *first <= *tested && *tested <= *last;
}

bool StringExtension::confirmPassFormat(const QString& text) {
    // Compiled case-insensitively on purpose: any letter satisfies both letter rules. The leading verb lets "." and "$"
    // know every Unicode line end, as they do on the platform that the rule was written for.
    static const QRegularExpression rule(u"(*ANY)"_s +
            uR"re(^(?=.*?[A-Z])(?=.*?[a-z])(?=.*?[0-9])(?=.*?[`~!@#$%^&*()_\-+=|{}':;',\[\].<>/?~！@#)re"
            R"re(￥%……&*（）——+|{}【】‘；：”“’。，、？]).{8,32}$)re"_s,
        QRegularExpression::CaseInsensitiveOption);
    return rule.match(text).hasMatch();
}

std::optional<QString> StringExtension::aes256_encrypt(const QString& text, const QString& key) {
    const WipedBytes plain(text.toUtf8());
    const std::optional<QByteArray> cipher = cryptAes(plain.bytes(), key, 1);
    if (!cipher)
        return std::nullopt;
    return Base64Text::encode(*cipher);
}

std::optional<QString> StringExtension::aes256_decrypt(const QString& text, const QString& key) {
    const std::optional<QByteArray> cipher = Base64Text::decode(text);
    if (!cipher)
        return std::nullopt;
    std::optional<QByteArray> decrypted = cryptAes(*cipher, key, 0);
    if (!decrypted)
        return std::nullopt;
    const WipedBytes plain(std::move(*decrypted));
    return plain.text();
}

bool StringExtension::isPureNumandCharacters(const QString& text) {
    // Taking digits off both ends leaves nothing exactly when there is nothing else.
    const QList<uint> characters = text.toUcs4();
    return std::all_of(
        characters.begin(), characters.end(), [](uint c) { return QChar::category(c) == QChar::Number_DecimalDigit; });
}

QSizeF StringExtension::sizeWithText(const QString& text, const QFont& font, const QSizeF& maxSize) {
    constexpr qreal Unlimited = 1 << 20; // "as large as it takes" overflows the text layout
    const QRectF room(0, 0, std::clamp(maxSize.width(), 0.0, Unlimited), std::clamp(maxSize.height(), 0.0, Unlimited));
    const QRectF bounds = QFontMetricsF(font).boundingRect(room, Qt::TextWordWrap | Qt::AlignLeft | Qt::AlignTop, text);
    return bounds.size().boundedTo(room.size());
}
