#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// One line of the kernel's table of mounts.
struct Mount {
    /// "major:minor"; major 0 for what no single block device holds.
    QString device;
    QString point;
    QString type;
    QString source;
    /// Of the file system, comma-separated.
    QString options;

    /// Value of the option @p name; null without it.
    QString option(const QString& name) const;
};

/// Nothing when a line is not of the table's form: what is missing might be what counts.
std::optional<QList<Mount>> parseMounts(const QByteArray& table);

/// What is mounted at exactly @p point and visible there; null when nothing is.
const Mount* mountAt(const QList<Mount>& mounts, const QString& point);
/// What the file @p path lies on; null for a relative path.
const Mount* mountHolding(const QList<Mount>& mounts, const QString& path);
