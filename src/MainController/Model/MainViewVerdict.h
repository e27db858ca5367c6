#pragma once

#include <QJsonArray>
#include <QString>
#include <QVariant>

/// What the view of checks and tools makes of the session and of the agent's files. Pure functions but for one that
/// reads.

/// What is shown of the tools.
struct ToolsLook {
    bool showsTools = false;
    bool showsAvailableApplications = false;

    bool operator==(const ToolsLook&) const = default;
};
/// @param loginType  0 when nobody is signed in, 3 for a domain session
ToolsLook toolsLook(qint64 loginType, bool isCheckAndShow);

/// The network-access policy that the agent has stored.
struct NetworkAccessPolicy {
    enum class Method { Other, Static, Certificate };

    Method method = Method::Other;
    QString address;
    QJsonArray ssids;
};
/// A file that is missing, or no dictionary, is a policy of another method.
NetworkAccessPolicy networkAccessPolicy(const QVariant& inacSSIDInfo);
/// The one in the agent's data folder. Reads a file.
NetworkAccessPolicy storedNetworkAccessPolicy(const QString& agentState);

/// Whether a changed policy is acted upon.
/// @param isNecessary  what the certificate manager answered; its YES means that the certificate is there
/// @param storedMethod  how the installed profile signs in
bool followsPolicyChange(NetworkAccessPolicy::Method method, bool isNecessary, const QString& storedMethod);

/// @param switchStatus  content of the join-domain switch
bool offersJoinDomain(const QVariant& switchStatus, const NetworkAccessPolicy& policy);
