#include "WrappableText.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QChar Ellipsis(0x2026);
constexpr qsizetype LongestToolTip = 300;

} // namespace

QString wrappable(const QString& text, qsizetype longest) {
    constexpr int LongestWord = 32;
    constexpr QChar WrapHere(0x200B);
    QString wrapped;
    int run = 0;
    for (const QChar unit : text.left(longest)) {
        run = unit.isSpace() ? 0 : run + 1;
        if (run > LongestWord && !unit.isLowSurrogate()) {
            wrapped += WrapHere;
            run = 1;
        }
        wrapped += unit;
    }
    return text.size() > longest ? wrapped + Ellipsis : wrapped;
}

QString shortened(const QString& name, qsizetype longest) {
    if (name.size() <= longest)
        return name;
    qsizetype head = longest / 2;
    qsizetype tail = name.size() - (longest - head - 1);
    // No half of a pair.
    head -= name[head - 1].isHighSurrogate() ? 1 : 0;
    tail += name[tail].isLowSurrogate() ? 1 : 0;
    return name.left(head) + Ellipsis + name.mid(tail);
}

QString toolTipText(const QString& text) {
    // Only rich text wraps.
    return u"<p>%1</p>"_s.arg(wrappable(text, LongestToolTip).toHtmlEscaped());
}
