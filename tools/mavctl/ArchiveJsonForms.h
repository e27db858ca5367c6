#pragma once

#include <QString>

using namespace Qt::StringLiterals;

namespace ArchiveJson {

inline constexpr char ClassKey[] = "$class";
inline constexpr char DataKey[] = "$data";
inline constexpr char DateKey[] = "$date";
inline constexpr char DoubleKey[] = "$double";

/// True for the key of a form with any further "$" in front.
inline bool isReserved(const QString& key) {
    if (!key.startsWith(u'$'))
        return false;
    qsizetype last = 0;
    while (last + 1 < key.size() && key[last + 1] == u'$')
        ++last;
    const QStringView name = QStringView(key).mid(last);
    return name == QLatin1StringView(ClassKey) || name == QLatin1StringView(DataKey) ||
        name == QLatin1StringView(DateKey) || name == QLatin1StringView(DoubleKey);
}

inline QString escaped(const QString& key) {
    return isReserved(key) ? u'$' + key : key;
}

inline QString unescaped(const QString& key) {
    return key.startsWith("$$"_L1) && isReserved(key) ? key.mid(1) : key;
}

} // namespace ArchiveJson
