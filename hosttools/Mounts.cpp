#include "Mounts.h"

using namespace Qt::StringLiterals;

namespace {

int octal(const QByteArray& text, qsizetype place) {
    int value = 0;
    for (qsizetype i = place; i < place + 3; ++i) {
        const int digit = i < text.size() ? text[i] - '0' : -1;
        if (digit < 0 || digit > 7)
            return -1;
        value = value * 8 + digit;
    }
    return value < 256 ? value : -1;
}

/// Blanks, line ends and backslashes stand as a backslash and three octal digits.
QString unescaped(const QByteArray& text) {
    QByteArray plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const int value = text[i] == '\\' ? octal(text, i + 1) : -1;
        plain += value < 0 ? text[i] : static_cast<char>(value);
        i += value < 0 ? 0 : 3;
    }
    return QString::fromUtf8(plain);
}

} // namespace

QString Mount::option(const QString& name) const {
    for (const QString& entry : options.split(u',')) {
        if (entry.startsWith(name + u'='))
            return entry.mid(name.size() + 1);
    }
    return {};
}

std::optional<QList<Mount>> parseMounts(const QByteArray& table) {
    if (!table.endsWith('\n'))
        return std::nullopt;
    QList<Mount> mounts;
    for (const QByteArray& line : table.chopped(1).split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype separator = fields.indexOf("-", 6);
        if (separator < 0 || fields.size() != separator + 4)
            return std::nullopt;
        mounts.append({unescaped(fields[2]), unescaped(fields[4]), unescaped(fields[separator + 1]),
            unescaped(fields[separator + 2]), unescaped(fields[separator + 3])});
    }
    return mounts;
}

const Mount* mountAt(const QList<Mount>& mounts, const QString& point) {
    for (qsizetype i = mounts.size(); i-- > 0;) {
        if (mounts[i].point == point)
            return &mounts[i];
    }
    return nullptr;
}

const Mount* mountHolding(const QList<Mount>& mounts, const QString& path) {
    QString point = path.startsWith(u'/') ? path : QString();
    while (!point.isEmpty()) {
        if (const Mount* found = mountAt(mounts, point))
            return found;
        const qsizetype slash = point.lastIndexOf(u'/');
        point = slash > 0 ? point.left(slash) : point == u"/" ? QString() : u"/"_s;
    }
    return nullptr;
}
