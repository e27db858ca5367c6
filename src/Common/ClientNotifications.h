#pragma once

#include <QString>

using namespace Qt::StringLiterals;

/// Names of the notifications that the client's pieces exchange, irregular words included.
namespace ClientNotification {

/// Posted after a logout, with the number 0.
inline const QString Logout = u"UpdateLogoutStatusNotificationKey"_s;
/// Tells the login window how the sign-in goes on; the object is the state's number.
inline const QString QRLoginState = u"update_Lable_notification"_s;

// A file of the agent changed.
inline const QString Logo = u"UpdateLogoForConfigNoticationKey"_s;
inline const QString Tips = u"UpdateTipsForConfigNoticationKey"_s;
inline const QString ComputerName = u"UpdateComputerNameForJoinDomainNotificationKey"_s;
inline const QString Restart = u"kRestartComputorNotification"_s;
inline const QString JoinDomainSwitch = u"JoinDomainToolSwitchStatusNotificationKey"_s;
inline const QString InacSsid = u"InacSSIDChangedNotificationKey"_s;
inline const QString NgnSwitch = u"UpdateNgnSwitchForConfigNoticationKey"_s;
inline const QString AppList = u"UpdateAppMgtListForConfigNoticationKey"_s;
inline const QString TrustedApps = u"UpdateTrustedsAppForConfigNoticationKey"_s;
/// The agent found the session gone; the object is the ticket state, if there is one.
inline const QString TicketTimeOut = u"TicketTimeOutNoticationKey"_s;
inline const QString HideTray = u"HideTrayForConfigNotificationKey"_s;

} // namespace ClientNotification
