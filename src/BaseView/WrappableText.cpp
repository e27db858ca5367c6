#include "WrappableText.h"

QString wrappable(const QString& text, qsizetype longest) {
    constexpr int LongestWord = 32;
    constexpr QChar WrapHere(0x200B);
    constexpr QChar Ellipsis(0x2026);
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
