#include "Verdicts.h"

using namespace Qt::StringLiterals;

namespace Reference {

std::optional<Refusal> judgeAccount(const Account& account) {
    if (account.blocked)
        return Refusal{1, 15, u"用户已被禁用，请联系管理员"_s};
    if (account.expired)
        return Refusal{1, 16, u"用户已过期，请联系管理员"_s};
    return {};
}

std::optional<Refusal> judgeDevice(const Device& device, const QString& userid) {
    if (!device.boundUserid.isEmpty() && device.boundUserid != userid)
        return Refusal{1, 24, u"设备已绑定其他账号"_s};
    if (device.blocked)
        return Refusal{1, 25, u"设备已被禁用，请联系管理员"_s};
    return {};
}

int stateOfDevice(const Device& device, bool requireRegistration) {
    switch (device.standing) {
    case Device::Standing::Approved:
        return State::valid;
    case Device::Standing::Waiting:
        return State::deviceWaiting;
    case Device::Standing::Rejected:
        return State::deviceRejected;
    case Device::Standing::Deregistered:
        return State::deviceLoggedOut;
    case Device::Standing::New:
        break;
    }
    return requireRegistration ? State::deviceNotRegistered : State::valid;
}

bool startsWaiting(const Device& device, const Account& account) {
    return account.requiresApproval && device.standing == Device::Standing::New;
}

int stateOfSession(Session::State state) {
    switch (state) {
    case Session::State::Live:
        return State::valid;
    case Session::State::Expired:
        return State::loginFailed;
    case Session::State::Revoked:
        return State::deviceLoggedOut;
    case Session::State::Ended:
    case Session::State::Unknown:
        break;
    }
    return State::notSignedIn;
}

QString stateText(int state) {
    switch (state) {
    case State::deviceApproved:
        return u"设备审核通过"_s;
    case State::deviceLoggedOut:
        return u"设备已注销"_s;
    case State::deviceRejected:
        return u"设备审核拒绝"_s;
    case State::deviceWaiting:
        return u"设备待审核"_s;
    case State::deviceNotRegistered:
        return u"设备未注册"_s;
    case State::loginFailed:
        return u"登录已失效"_s;
    case State::notSignedIn:
        return u"未登录"_s;
    case State::codeScanned:
        return u"二维码已扫描"_s;
    default:
        return u""_s;
    }
}

QString maskedMail(const QString& mail) {
    const auto at = mail.lastIndexOf(u'@');
    return at < 1 ? u"***"_s : mail.left(1) + u"***"_s + mail.mid(at);
}

Refusal wrongPassword() {
    return {1, 6, u"账号或密码错误"_s};
}

Refusal wrongCode(bool missing) {
    return missing ? Refusal{1, 8, u"请输入动态口令"_s} : Refusal{1, 7, u"动态口令错误"_s};
}

} // namespace Reference
