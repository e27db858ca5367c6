#include "ToolNames.h"

#include <QStringConverter>

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace ToolNames {

namespace {

/// The common signs stand in the order of their sounds in GBK; here is where each letter begins. None begins with i, u
/// or v.
struct Letter {
    int code;
    char16_t letter;
};
constexpr Letter Letters[] = {{0xB0A1, u'a'}, {0xB0C5, u'b'}, {0xB2C1, u'c'}, {0xB4EE, u'd'}, {0xB6EA, u'e'},
    {0xB7A2, u'f'}, {0xB8C1, u'g'}, {0xB9FE, u'h'}, {0xBBF7, u'j'}, {0xBFA6, u'k'}, {0xC0AC, u'l'}, {0xC2E8, u'm'},
    {0xC4C3, u'n'}, {0xC5B6, u'o'}, {0xC5BE, u'p'}, {0xC6DA, u'q'}, {0xC8BB, u'r'}, {0xC8F6, u's'}, {0xCBFA, u't'},
    {0xCDDA, u'w'}, {0xCEF4, u'x'}, {0xD1B9, u'y'}, {0xD4D1, u'z'}, {0xD7FA, u'\0'}};
constexpr char16_t FirstChinese = 0x3400;

/// Nothing for a rare sign, which is sorted by its shape.
QChar letterOf(QChar sign) {
    static QStringEncoder encoder("GBK");
    const QByteArray bytes = encoder(QStringView(&sign, 1));
    if (bytes.size() != 2)
        return {};
    const int code = static_cast<uchar>(bytes[0]) << 8 | static_cast<uchar>(bytes[1]);
    const auto* after = std::upper_bound(
        std::begin(Letters), std::end(Letters), code, [](int value, const Letter& one) { return value < one.code; });
    return after == std::begin(Letters) ? QChar() : QChar(std::prev(after)->letter);
}

Match matchText(const QString& text, const QString& typed) {
    const qsizetype place = text.indexOf(typed);
    return place == 0 ? Match::Beginning : place > 0 ? Match::Within : Match::None;
}

} // namespace

QString initials(const QString& name) {
    QString letters;
    for (const QChar sign : name.toLower()) {
        const QChar letter = sign.unicode() < FirstChinese ? sign : letterOf(sign);
        if (!letter.isNull())
            letters += letter;
    }
    return letters;
}

Match match(const QString& name, const QString& typed) {
    const QString wanted = typed.toLower();
    return std::max(matchText(name.toLower(), wanted), matchText(initials(name), wanted));
}

} // namespace ToolNames
