#include "MainViewVerdict.h"

#include "ArchiveStore.h"
#include "IntegerValue.h"
#include "StateFiles.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 NotSignedIn = 0;
constexpr qint64 DomainLogin = 3;
constexpr qint64 JoinOffered = 1;
const QString StaticMethod = u"2"_s;
const QString CertificateMethod = u"3"_s;

} // namespace

ToolsLook toolsLook(qint64 loginType, bool isCheckAndShow) {
    if (loginType == NotSignedIn || !isCheckAndShow)
        return {};
    return {true, loginType != DomainLogin};
}

NetworkAccessPolicy networkAccessPolicy(const QVariant& inacSSIDInfo) {
    const QVariantMap file = inacSSIDInfo.toMap();
    const QString method = file.value(u"auth_method"_s).toString();
    using Method = NetworkAccessPolicy::Method;
    return {method == StaticMethod        ? Method::Static
            : method == CertificateMethod ? Method::Certificate
                                          : Method::Other,
        file.value(u"inac_addr"_s).toString(), QJsonArray::fromVariantList(file.value(u"ssidlist"_s).toList())};
}

NetworkAccessPolicy storedNetworkAccessPolicy(const QString& agentState) {
    const auto file = unarchivedObjectWithFilePath(agentState + u'/' + StateFiles::InacSsidInfo);
    return networkAccessPolicy(file ? file->toVariant() : QVariant());
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
