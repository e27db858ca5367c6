#include "AccountRoutes.h"

#include "Router.h"
#include "Secrets.h"
#include "Stores.h"
#include "Verdicts.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

Answer signedInAnswer(const Account& account, const QString& ticket) {
    QJsonObject data = stateData(State::valid);
    data[u"userid"_s] = account.userid;
    data[u"username"_s] = account.username;
    data[u"ticket"_s] = ticket;
    return success(data);
}

Answer stateAnswer(int state) {
    return success(stateData(state), stateText(state));
}

Answer login(Stores& stores, const QJsonObject& fields) {
    const bool sendsCode = fields.contains(u"otp"_s);
    if (fields[u"logintype"_s].toInt() != (sendsCode ? 1 : 0))
        return badParameters(u"logintype"_s);
    const QString userid = fields[u"userid"_s].toString();
    const auto match = stores.accounts.checkPassword(userid, fields[u"password"_s].toString());
    const auto account = stores.accounts.find(userid);
    if (!account || match == AccountStore::Match::No)
        return refusal(wrongPassword());
    if (const auto refused = judgeAccount(*account))
        return refusal(*refused);
    if (!account->otp.isEmpty() &&
        !isCurrentCode(account->otp, fields[u"otp"_s].toString(), QDateTime::currentSecsSinceEpoch()))
        return refusal(wrongCode(!sendsCode));
    if (account->mustChangePassword || match == AccountStore::Match::Temporary)
        return refusal({1, 20, u"首次登录或密码已被重置，请修改密码"_s});
    Database::Transaction transaction(stores.database);
    const Answer answer = signIn(stores, *account, fields, u"account"_s);
    transaction.commit();
    return answer;
}

Answer checkTicket(Stores& stores, const QJsonObject& fields) {
    Database::Transaction transaction(stores.database);
    const auto [session, ticket] = stores.tickets.check(fields[u"ticket"_s].toString());
    const auto isOther = [&fields](const QString& name, const QString& own) {
        const QString sent = fields[name].toString();
        return !sent.isEmpty() && sent != own;
    };
    if (isOther(u"userid"_s, session.userid) || isOther(u"deviceid"_s, session.deviceid))
        return stateAnswer(State::notSignedIn);
    stores.scans.ticketUsed(fields[u"ticket"_s].toString());
    int state = stateOfSession(session.state);
    const auto account = stores.accounts.find(session.userid);
    if (state != State::valid || !account) {
        transaction.commit();
        return stateAnswer(account ? state : State::notSignedIn);
    }
    QJsonObject facts = fields;
    facts[u"deviceid"_s] = session.deviceid;
    const Device device = stores.devices.see(facts);
    transaction.commit();
    if (const auto refused = judgeAccount(*account))
        return refusal(*refused);
    if (const auto refused = judgeDevice(device, account->userid))
        return refusal(*refused);
    state = stateOfDevice(device, stores.settings.value(u"require_registration"_s).toBool());
    return state == State::valid ? signedInAnswer(*account, ticket) : stateAnswer(state);
}

Answer logout(Stores& stores, const QJsonObject& fields) {
    Database::Transaction transaction(stores.database);
    const QString ticket = fields[u"ticket"_s].toString();
    // A ticket that is not known, or no longer, is out already: the user gets what was asked for.
    if (stores.tickets.look(ticket).userid == fields[u"userid"_s].toString())
        stores.tickets.end(ticket);
    transaction.commit();
    return success({});
}

Answer resetPassword(Stores& stores, const QJsonObject& fields) {
    if (fields[u"logintype"_s].toInt(-1) != 0)
        return badParameters(u"logintype"_s);
    const QString userid = fields[u"userid"_s].toString();
    const QString oldPassword = fields[u"old_password"_s].toString();
    const QString newPassword = fields[u"password"_s].toString();
    const auto match = stores.accounts.checkPassword(userid, oldPassword);
    const auto account = stores.accounts.find(userid);
    if (!account || match == AccountStore::Match::No)
        return refusal({-1, 21, u"旧密码错误"_s});
    if (const auto refused = judgeAccount(*account))
        return refusal(*refused);
    if (oldPassword == newPassword)
        return refusal({-1, 22, u"新密码不能与旧密码相同"_s});
    const QString deviceid = fields[u"deviceid"_s].toString();
    Database::Transaction transaction(stores.database);
    const Device device = stores.devices.see(fields);
    if (const auto refused = judgeDevice(device, userid))
        return refusal(*refused);
    // The request carries no one-time code, so for such an account it cannot sign in where nobody was signed in.
    const bool mayTakeTicket = account->otp.isEmpty() || stores.tickets.hasLive(deviceid, userid);
    stores.accounts.setPassword(userid, newPassword);
    stores.tickets.change(Tickets::Change::End, 0, userid, {});
    const Answer answer = mayTakeTicket ? signIn(stores, *account, fields, u"reset"_s) : stateAnswer(State::valid);
    transaction.commit();
    return answer;
}

Answer retrievePassword(Stores& stores, const QJsonObject& fields) {
    const auto account = stores.accounts.find(fields[u"user_id"_s].toString());
    if (!account)
        return refusal({1, 6, u"账号不存在"_s});
    if (const auto refused = judgeAccount(*account))
        return refusal(*refused);
    if (account->mail.isEmpty())
        return refusal({1, 42, u"用户未配置邮箱"_s});
    const QString sender = stores.settings.value(u"admin_mail"_s).toString();
    if (sender.isEmpty())
        return refusal({1, 43, u"管理员未配置邮箱"_s});
    const Refusal notSent{1, 44, u"找回密码邮件发送失败"_s};
    if (!stores.settings.value(u"mail_works"_s).toBool())
        return refusal(notSent);
    Database::Transaction transaction(stores.database);
    const QString password = randomText(12) + u"#1a"_s;
    if (!stores.accounts.setTemporaryPassword(account->userid, password) ||
        !stores.settings.sendMail(account->mail, u"找回密码"_s,
            u"%1，您好：\n您的临时密码是 %2 ，30分钟内有效，登录后请修改密码。\n发件人：%3"_s.arg(
                account->username, password, sender)))
        return refusal(notSent);
    transaction.commit();
    return success({{u"user_email"_s, maskedMail(account->mail)}});
}

Answer checkDomainAccount(Stores& stores, const QJsonObject& fields) {
    const QString userName = stores.settings.domainUserName(fields[u"uid"_s].toString(), fields[u"dc"_s].toString());
    if (userName.isNull())
        return refusal({1, 6, u"域账号无效"_s});
    const Device device = stores.devices.see(fields);
    if (const auto refused = judgeDevice(device, fields[u"uid"_s].toString()))
        return refusal(*refused);
    return success({{u"user_name"_s, userName}});
}

} // namespace

QJsonObject stateData(int state) {
    return {{u"state"_s, state}, {u"status"_s, state}};
}

Answer signIn(Stores& stores, const Account& account, const QJsonObject& fields, const QString& kind) {
    Device device = stores.devices.see(fields);
    if (const auto refused = judgeDevice(device, account.userid))
        return refusal(*refused);
    if (startsWaiting(device, account) && stores.devices.setStanding(device.deviceid, Device::Standing::Waiting))
        device.standing = Device::Standing::Waiting;
    const int state = stateOfDevice(device, stores.settings.value(u"require_registration"_s).toBool());
    if (state != State::valid)
        return stateAnswer(state);
    const qint64 lifetime = stores.settings.value(u"ticket_lifetime"_s).toInt();
    const QString ticket = stores.tickets.issue(account.userid, device.deviceid, kind, lifetime);
    if (ticket.isEmpty())
        return jsonAnswer({{u"ret"_s, -1}, {u"errorcode"_s, 500}, {u"msg"_s, u"服务器内部错误"_s}}, 500);
    return signedInAnswer(account, ticket);
}

void addAccountRoutes(Router& router, Stores& stores) {
    const auto add = [&](const char* operation, FieldRules rules, Answer (*handle)(Stores&, const QJsonObject&)) {
        router.add("POST", u"/api/public/clientlogin/"_s + QLatin1StringView(operation),
            {Form::Sealed, std::move(rules),
                [&stores, handle](const Request&, const QJsonObject& fields) { return handle(stores, fields); }});
    };
    add("account_login", loginFields(), login);
    add("ticket_auth", ticketFields(), checkTicket);
    add("logout", logoutFields(), logout);
    add("resetpass", resetFields(), resetPassword);
    add("retrieve_password", retrieveFields(), retrievePassword);
    add("ad_auth", domainFields(), checkDomainAccount);
}

} // namespace Reference
