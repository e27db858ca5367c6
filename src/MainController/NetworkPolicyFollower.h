#pragma once

#include "NotificationCenter.h"
#include "Queue.h"

#include <QJsonArray>
#include <QVariant>

#include <functional>

class QenLogHelper;
class Session;
struct NetworkAccessLink;

/// The network-access policy that the agent has stored.
struct NetworkAccessPolicy {
    enum class Method { Other, Static, Certificate };

    Method method = Method::Other;
    QString address;
    QJsonArray ssids;
};
/// A file that is missing, or no dictionary, is a policy of another method.
NetworkAccessPolicy storedNetworkAccessPolicy(const QString& agentState);

/// Whether a changed policy is acted upon.
/// @param isNecessary  what the certificate manager answered; its YES means that the certificate is there
/// @param storedMethod  how the installed profile signs in
bool followsPolicyChange(NetworkAccessPolicy::Method method, bool isNecessary, const QString& storedMethod);

/// @param switchStatus  content of the join-domain switch
bool offersJoinDomain(const QVariant& switchStatus, const NetworkAccessPolicy& policy);

/// Acts on each network-access policy that the agent stores: the static profile, or a certificate for who is signed in.
///
/// Follows from its making on, whether or not somebody is signed in: a computer that has no network yet is the one that
/// needs the profile. Works on a queue of its own.
class NetworkPolicyFollower final {
public:
    /// All of it outlives what was begun.
    struct World {
        QenLogHelper& log;
        Platform::NotificationCenter& center;
        const NetworkAccessLink& networkAccess;
        /// How the installed network profile signs in; null when nobody knows. Any thread.
        std::function<QString()> localCerAuthMethod;
        Session& session;
        /// The agent's data folder.
        QString agentState;
    };

    /// Its end waits for a read that runs.
    explicit NetworkPolicyFollower(World world);

    /// Any thread.
    void inacSsidChanged();

private:
    std::function<void()> action(const NetworkAccessPolicy& policy) const;

    const World m_world;
    Platform::SerialQueue m_reader;
    // Goes before the queue that it hands over to.
    Platform::NotificationCenter::Observer m_changes;
};
