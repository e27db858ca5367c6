#pragma once

#include <QByteArray>
#include <QStringList>

/// Serial numbers of parts, from sysfs, the firmware's tables and the device database below @p root.
namespace DeviceSerials {

/// The string that the byte at @p offset of a firmware table entry points to; empty when there is none.
QString firmwareString(const QByteArray& entry, qsizetype offset);

QStringList boards(const QString& root);
QStringList memoryModules(const QString& root);
/// Of built-in disks; not of removable media, optical drives or layers over disks.
QStringList fixedDisks(const QString& root);

} // namespace DeviceSerials
