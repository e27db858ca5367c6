#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Reading of the small text files in which the system tells its facts. Any thread.
namespace DeviceFiles {

/// At most 1 MiB of a file; empty when it cannot be read, also for folders, pipes and devices.
QByteArray bytes(const QString& path);
/// The file's first line without surrounding white space.
QString line(const QString& path);
/// The first line that is neither empty nor a comment, without surrounding white space.
QString statement(const QString& path);
/// "KEY=value" lines as the shell would take them: quotes and backslashes undone, comments and other lines left out.
QMap<QString, QString> variables(const QString& path);
/// The keys of one "[group]" of a key file.
QMap<QString, QString> keyGroup(const QString& path, const QString& group);

} // namespace DeviceFiles
