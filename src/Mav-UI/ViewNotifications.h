#pragma once

#include <QString>

/// Notifications that the pages of the main window follow.
namespace ViewNotification {
/// Posted after a logout.
inline const QString Logout = QStringLiteral("UpdateLogoutStatusNotificationKey");
/// The agent found the session gone; the object is the ticket state.
inline const QString TicketTimeOut = QStringLiteral("TicketTimeOutNoticationKey");
inline const QString AppList = QStringLiteral("UpdateAppMgtListForConfigNoticationKey");
inline const QString Tips = QStringLiteral("UpdateTipsForConfigNoticationKey");
inline const QString ComputerName = QStringLiteral("UpdateComputerNameForJoinDomainNotificationKey");
} // namespace ViewNotification
