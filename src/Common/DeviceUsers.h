#pragma once

#include <QString>

#include <sys/types.h>

/// Who works at the computer, from the account file and the session manager's state below @p root.
namespace DeviceUsers {

/// The account name of a user number; empty when there is none. Beneath the real root also from the system's other
/// account sources.
QString accountName(const QString& root, uid_t user);

/// The user of the active session at the first seat; empty without one, as on a login screen or a machine without a
/// seat.
QString consoleUser(const QString& root);

} // namespace DeviceUsers
