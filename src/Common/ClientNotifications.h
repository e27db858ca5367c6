#pragma once

#include <QString>

/// Names of the notifications that the client's pieces exchange, irregular words included.
namespace ClientNotification {

/// Posted after a logout, with the number 0.
inline const QString Logout = QStringLiteral("UpdateLogoutStatusNotificationKey");
/// Tells the login window how the sign-in goes on; the object is the state's number.
inline const QString QRLoginState = QStringLiteral("update_Lable_notification");

/// The computer's domain account was recognised and made a session.
inline const QString DomainSession = QStringLiteral("DomainSessionNotificationKey");

// A file of the agent changed.
inline const QString Logo = QStringLiteral("UpdateLogoForConfigNoticationKey");
inline const QString Tips = QStringLiteral("UpdateTipsForConfigNoticationKey");
inline const QString ComputerName = QStringLiteral("UpdateComputerNameForJoinDomainNotificationKey");
inline const QString Restart = QStringLiteral("kRestartComputorNotification");
inline const QString JoinDomainSwitch = QStringLiteral("JoinDomainToolSwitchStatusNotificationKey");
inline const QString InacSsid = QStringLiteral("InacSSIDChangedNotificationKey");
inline const QString NgnSwitch = QStringLiteral("UpdateNgnSwitchForConfigNoticationKey");
inline const QString AppList = QStringLiteral("UpdateAppMgtListForConfigNoticationKey");
inline const QString TrustedApps = QStringLiteral("UpdateTrustedsAppForConfigNoticationKey");
/// The agent found the session gone; the object is the ticket state, if there is one.
inline const QString TicketTimeOut = QStringLiteral("TicketTimeOutNoticationKey");
inline const QString HideTray = QStringLiteral("HideTrayForConfigNotificationKey");

} // namespace ClientNotification
