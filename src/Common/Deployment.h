#pragma once

#include "Paths.h"

using namespace Qt::StringLiterals;

/// Values that a deployment chooses: identifiers, service names, labels.
namespace Deployment {

inline const QString BundleIdentifier = u"com.qencloud.mav"_s;
inline const QString TicketServiceName = u"com.qencloud.mav.TicketService"_s;
inline const QString TicketProtocol = u"com.qencloud.mav.QenCloud_ticketProtocol"_s;
inline const QString LogQueueLabel = BundleIdentifier + u".log"_s;
inline const QString ZipQueueLabel = BundleIdentifier + u".zip"_s;
inline const QString LoginQueueLabel = BundleIdentifier + u".login"_s;
inline const QString AccountCheckQueueLabel = BundleIdentifier + u".account.check"_s;
inline const QString NacRequestQueueLabel = BundleIdentifier + u".inac.https"_s;
inline const QString NacCheckQueueLabel = BundleIdentifier + u".inac.check"_s;
inline const QString CertificateQueueLabel = BundleIdentifier + u".certificates"_s;
inline const QString ComplianceQueueLabel = BundleIdentifier + u".compliance"_s;
inline const QString FileMonitorQueueLabel = BundleIdentifier + u".qen.ui.file.monitor"_s;
inline const QString JoinDomainToolIdentifier = BundleIdentifier + u".JoinDomainTool"_s;
/// Folder of the VPN component's logs under /Library/Logs.
inline const QString VpnLogFolder = u"com.qencloud.zelvpn"_s;

/// The VPN component's executable inside the bundle.
inline QString vpnExecutable() {
    return Platform::Paths::applicationBundle() + u"/Contents/GWD/ZelVPN"_s;
}
/// The file of the user's settings.
inline QString userDefaultsFile() {
    return Platform::Paths::library() + u"/Preferences/"_s + BundleIdentifier + u".plist"_s;
}

} // namespace Deployment
