#include "NetworkPolicyFollower.h"

#include "ArchiveStore.h"
#include "ClientNotifications.h"
#include "Deployment.h"
#include "IntegerValue.h"
#include "LoginLinks.h"
#include "QenLogHelper.h"
#include "Session.h"
#include "StateFiles.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 JoinOffered = 1;
const QString StaticMethod = u"2"_s;
const QString CertificateMethod = u"3"_s;

} // namespace

NetworkAccessPolicy storedNetworkAccessPolicy(const QString& agentState) {
    using Method = NetworkAccessPolicy::Method;
    const auto stored = unarchivedObjectWithFilePath(agentState + u'/' + StateFiles::InacSsidInfo);
    const QVariantMap file = stored ? stored->toVariant().toMap() : QVariantMap();
    const QString method = file.value(u"auth_method"_s).toString();
    return {method == StaticMethod        ? Method::Static
            : method == CertificateMethod ? Method::Certificate
                                          : Method::Other,
        file.value(u"inac_addr"_s).toString(), QJsonArray::fromVariantList(file.value(u"ssidlist"_s).toList())};
}

bool followsPolicyChange(NetworkAccessPolicy::Method method, bool isNecessary, const QString& storedMethod) {
    using Method = NetworkAccessPolicy::Method;
    if (method == Method::Other)
        return false;
    // One that is there is replaced only when it is of the other kind.
    return !isNecessary || storedMethod == (method == Method::Certificate ? StaticMethod : CertificateMethod);
}

bool offersJoinDomain(const QVariant& switchStatus, const NetworkAccessPolicy& policy) {
    // The second rule wins.
    return integerValue(switchStatus) == JoinOffered && policy.method != NetworkAccessPolicy::Method::Static;
}

NetworkPolicyFollower::NetworkPolicyFollower(World world)
    : m_world(std::move(world)), m_reader(Deployment::BundleIdentifier + u".networkpolicy"_s) {
    m_changes = m_world.center.observe(
        ClientNotification::InacSsid, [this](const Platform::Notification&) { inacSsidChanged(); });
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
    const NetworkAccessLink& access = m_world.networkAccess;
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
