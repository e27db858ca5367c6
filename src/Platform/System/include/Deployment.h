#pragma once

#include <QString>

/// Values that a deployment chooses: identifiers, service names, labels.
namespace Platform::Deployment {

inline const QString BundleIdentifier = QStringLiteral("com.qencloud.mav");
inline const QString TicketServiceName = QStringLiteral("com.qencloud.mav.TicketService");
inline const QString TicketProtocol = QStringLiteral("com.qencloud.mav.QenCloud_ticketProtocol");
inline const QString LogQueueLabel = BundleIdentifier + QStringLiteral(".log");
inline const QString ZipQueueLabel = BundleIdentifier + QStringLiteral(".zip");
inline const QString LoginQueueLabel = BundleIdentifier + QStringLiteral(".login");
inline const QString AccountCheckQueueLabel = BundleIdentifier + QStringLiteral(".account.check");
inline const QString NacRequestQueueLabel = BundleIdentifier + QStringLiteral(".inac.https");
inline const QString NacCheckQueueLabel = BundleIdentifier + QStringLiteral(".inac.check");
inline const QString CertificateQueueLabel = BundleIdentifier + QStringLiteral(".certificates");
inline const QString ComplianceQueueLabel = BundleIdentifier + QStringLiteral(".compliance");
inline const QString JoinDomainToolIdentifier = BundleIdentifier + QStringLiteral(".JoinDomainTool");
/// Folder of the VPN component's logs under /Library/Logs.
inline const QString VpnLogFolder = QStringLiteral("com.qencloud.zelvpn");

} // namespace Platform::Deployment
