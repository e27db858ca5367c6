#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QStringList>

#include <optional>

/// A field of the kernel's tables: blanks, line ends and backslashes stand as a backslash and three octal digits.
QString unescapedField(const QByteArray& text);

/// One line of the kernel's table of mounts.
struct Mount {
    /// "major:minor"; major 0 for what no single block device holds.
    QString device;
    QString point;
    QString type;
    QString source;
    /// Of the file system, comma-separated.
    QString options;

    /// Values of the option @p name and of its repeatable form, "name+".
    QStringList values(const QString& name) const;
};

/// The table of mounts, in its order.
class Mounts final {
public:
    /// Nothing when a line is not of the table's form: what is missing might be what counts.
    static std::optional<Mounts> parsed(const QByteArray& table);

    /// Those that are not covered by a later one at the same place.
    QList<Mount> visible() const;
    /// What is mounted at exactly @p point and visible there; null when nothing is.
    const Mount* at(const QString& point) const;
    /// What the file @p path lies on; null for a relative path.
    const Mount* holding(const QString& path) const;

private:
    QList<Mount> m_mounts;
    QHash<QString, qsizetype> m_places;
};
