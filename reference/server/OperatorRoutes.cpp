#include "OperatorRoutes.h"

#include "Faults.h"
#include "RequestLog.h"
#include "Router.h"
#include "Stores.h"

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

Answer outcome(const QString& wrong) {
    if (wrong.isEmpty())
        return jsonAnswer({{u"ret"_s, 0}, {u"msg"_s, QString()}});
    return jsonAnswer({{u"ret"_s, 1}, {u"msg"_s, wrong}}, 400);
}

Answer postFault(const OperatorDesk& desk, const QJsonObject& json) {
    if (json.value(u"kind"_s).toString() == "clear"_L1) {
        desk.faults.clear();
        return outcome({});
    }
    QString wrong;
    const auto fault = faultFromJson(json, &wrong);
    if (!fault)
        return outcome(u"wrong value of "_s + wrong);
    desk.faults.add(*fault);
    return outcome({});
}

QJsonArray accountsJson(const Stores& stores) {
    QJsonArray list;
    for (const Account& account : stores.accounts.all())
        list.append(QJsonObject{{u"userid"_s, account.userid}, {u"username"_s, account.username},
            {u"has_code"_s, !account.otp.isEmpty()}, {u"mail"_s, account.mail}, {u"blocked"_s, account.blocked},
            {u"expired"_s, account.expired}, {u"must_change_password"_s, account.mustChangePassword},
            {u"requires_approval"_s, account.requiresApproval}});
    return list;
}

QJsonArray devicesJson(const Stores& stores) {
    QJsonArray list;
    for (const Device& device : stores.devices.all())
        list.append(QJsonObject{{u"deviceid"_s, device.deviceid}, {u"hostname"_s, device.hostname},
            {u"ip"_s, device.ip}, {u"mac"_s, device.mac}, {u"os"_s, device.os}, {u"login_user"_s, device.loginUser},
            {u"standing"_s, standingName(device.standing)}, {u"blocked"_s, device.blocked},
            {u"bound_userid"_s, device.boundUserid}, {u"last_seen"_s, device.lastSeen}});
    return list;
}

QJsonArray sessionsJson(const Stores& stores) {
    QJsonArray list;
    for (const Session& session : stores.tickets.all())
        list.append(QJsonObject{{u"session"_s, session.id}, {u"userid"_s, session.userid},
            {u"deviceid"_s, session.deviceid}, {u"kind"_s, session.kind}, {u"state"_s, stateName(session.state)},
            {u"rotates"_s, session.rotates}, {u"created"_s, session.created}, {u"expires"_s, session.expires},
            {u"last_check"_s, session.lastCheck}});
    return list;
}

QJsonArray certificatesJson(const Stores& stores) {
    QJsonArray list;
    for (const IssuedCertificate& certificate : stores.certificates.all())
        list.append(QJsonObject{{u"serial"_s, certificate.serial}, {u"userid"_s, certificate.userid},
            {u"deviceid"_s, certificate.deviceid}, {u"issued"_s, certificate.issued},
            {u"expires"_s, certificate.expires}, {u"revoked"_s, certificate.revoked}});
    return list;
}

} // namespace

QJsonObject stateJson(const OperatorDesk& desk) {
    QJsonArray scans;
    for (const Scan& scan : desk.stores.scans.all())
        scans.append(QJsonObject{{u"soleid"_s, scan.soleid}, {u"deviceid"_s, scan.deviceid},
            {u"stage"_s, stageName(scan.stage)}, {u"userid"_s, scan.userid}});
    QJsonArray mails;
    for (const Mail& mail : desk.stores.settings.mails())
        mails.append(QJsonObject{{u"recipient"_s, mail.recipient}, {u"subject"_s, mail.subject}, {u"text"_s, mail.text},
            {u"sent"_s, mail.sent}});
    QJsonArray domainAccounts;
    for (const QJsonObject& account : desk.stores.settings.domainAccounts())
        domainAccounts.append(account);
    return {{u"accounts"_s, accountsJson(desk.stores)}, {u"devices"_s, devicesJson(desk.stores)},
        {u"sessions"_s, sessionsJson(desk.stores)}, {u"scans"_s, scans}, {u"mails"_s, mails},
        {u"domain_accounts"_s, domainAccounts}, {u"certificates"_s, certificatesJson(desk.stores)},
        {u"settings"_s, desk.stores.settings.all()}, {u"faults"_s, desk.faults.toJson()}};
}

void addOperatorRoutes(Router& router, const OperatorDesk& desk) {
    router.add("GET", u"/operator/state.json"_s,
        {Form::None, {}, [desk](const Request&, const QJsonObject&) { return jsonAnswer(stateJson(desk)); }});
    router.add("GET", u"/operator/requests.json"_s,
        {Form::None, {}, [desk](const Request& request, const QJsonObject&) {
             const auto after = request.query.queryItemValue(u"after"_s);
             const auto path = request.query.queryItemValue(u"path"_s, QUrl::FullyDecoded);
             return jsonAnswer({{u"requests"_s, desk.log.toJson(path, after.toLongLong())}});
         }});
    router.add("GET", u"/operator/faults"_s, {Form::None, {}, [desk](const Request&, const QJsonObject&) {
                                                  return jsonAnswer({{u"faults"_s, desk.faults.toJson()}});
                                              }});
    router.add("POST", u"/operator/faults"_s,
        {Form::Json, {}, [desk](const Request&, const QJsonObject& fields) { return postFault(desk, fields); }});
    router.add("POST", u"/operator/action"_s, {Form::Json, {}, [desk](const Request&, const QJsonObject& fields) {
                                                   return outcome(runAction(desk, fields));
                                               }});
}

} // namespace Reference
