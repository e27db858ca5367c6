#include "NetworkPolicyFollower.h"

#include "ClientNotifications.h"
#include "Deployment.h"
#include "LoginLinks.h"
#include "QenLogHelper.h"
#include "Session.h"

using namespace Qt::StringLiterals;

NetworkPolicyFollower::NetworkPolicyFollower(World world)
    : m_world(std::move(world)), m_reader(Deployment::BundleIdentifier + u".networkpolicy"_s) {
    m_changes = m_world.center.observe(
        ClientNotification::InacSsid, [this](const Platform::Notification&) { inacSsidChanged(); });
}

NetworkPolicyFollower::~NetworkPolicyFollower() {
    m_changes = {};
}

void NetworkPolicyFollower::inacSsidChanged() {
    m_reader.async([this] {
        const NetworkAccessPolicy policy = storedNetworkAccessPolicy(m_world.agentState);
        if (policy.method == NetworkAccessPolicy::Method::Other)
            return;
        // Its answer may come when this object is gone; what it needs outlives it.
        m_world.networkAccess.checkiNacNecessaryWithUrl(policy.address,
            [policy, storedMethod = m_world.localCerAuthMethod, follow = action(policy)](bool isNecessary) {
                if (followsPolicyChange(policy.method, isNecessary, storedMethod()))
                    Platform::globalQueue().async(follow);
            });
    });
}

std::function<void()> NetworkPolicyFollower::action(const NetworkAccessPolicy& policy) const {
    NetworkAccessLink& access = m_world.networkAccess;
    QenLogHelper& log = m_world.log;
    if (policy.method == NetworkAccessPolicy::Method::Static)
        return [&access, &log] {
            access.installStaticMobileconfig();
            log.writeLog(u"[QenMainViewController] inac type change to 2"_s, 1);
        };
    return [&access, &log, policy, &session = m_world.session] {
        const AccountModel record = session.current().record.value_or(AccountModel());
        const QString ticket = record.decryptTicket();
        if (record.username().isEmpty() || ticket.isEmpty())
            return;
        access.executeInacTaskWithUserName(record.userid(), ticket, policy.ssids, policy.address);
        log.writeLog(u"[QenMainViewController] inac type change to 3"_s, 1);
    };
}
