#include "EscapedText.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int HexadecimalDigits = 4;
constexpr int OctalDigits = 3;

int digitOf(QChar character, int base) {
    const int value = character.isLetter() ? character.toUpper().unicode() - 'A' + 10 : character.unicode() - '0';
    return character.unicode() < 0x80 && value >= 0 && value < base ? value : -1;
}

/// The number at @p position, which is left behind it.
QChar numberAt(const QString& text, qsizetype& position, int base, int mostDigits) {
    ushort number = 0;
    for (int count = 0; count < mostDigits && position < text.size(); ++count, ++position) {
        const int digit = digitOf(text[position], base);
        if (digit < 0)
            break;
        number = static_cast<ushort>(number * base + digit);
    }
    return QChar(number);
}

} // namespace

QString unescapedQuotedText(const QString& text) {
    static constexpr QStringView Letters = u"abfnrtv";
    static constexpr QStringView Meanings = u"\a\b\f\n\r\t\v";
    if (text.size() < 2 || text.front() != u'"')
        return {};
    QString result = u""_s;
    qsizetype position = 1;
    while (position < text.size() && text[position] != u'"') {
        const QChar character = text[position++];
        if (character != u'\\') {
            result += character;
            continue;
        }
        if (position == text.size())
            return {};
        if (digitOf(text[position], 8) >= 0) {
            result += numberAt(text, position, 8, OctalDigits);
            continue;
        }
        const QChar escape = text[position++];
        const qsizetype letter = Letters.indexOf(escape);
        if (escape == u'U')
            result += numberAt(text, position, 16, HexadecimalDigits);
        else
            result += letter < 0 ? escape : Meanings[letter];
    }
    // Something has to close the string, and nothing may follow it.
    return position == text.size() - 1 ? result : QString();
}
