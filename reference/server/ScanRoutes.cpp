#include "ScanRoutes.h"

#include "AccountRoutes.h"
#include "Html.h"
#include "Router.h"
#include "Stores.h"
#include "Verdicts.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

Answer stateAnswer(int state) {
    return success(stateData(state), stateText(state));
}

/// What a poll answers once the phone has confirmed.
Answer pollConfirmed(Stores& stores, const Scan& scan, const QJsonObject& fields) {
    if (!scan.ticket.isEmpty()) {
        const auto account = stores.accounts.find(scan.userid);
        const int state = account ? stateOfSession(stores.tickets.look(scan.ticket).state) : State::notSignedIn;
        if (state != State::valid) {
            stores.scans.ticketUsed(scan.ticket);
            return stateAnswer(state);
        }
        QJsonObject data = stateData(state);
        data[u"userid"_s] = account->userid;
        data[u"username"_s] = account->username;
        data[u"ticket"_s] = scan.ticket;
        return success(data);
    }
    const auto account = stores.accounts.find(scan.userid);
    if (!account)
        return refusal(wrongPassword());
    if (const auto refused = judgeAccount(*account))
        return refusal(*refused);
    const auto device = stores.devices.find(scan.deviceid);
    if (scan.waited && device && device->standing == Device::Standing::Approved) {
        // Told once, so that the person sees the approval before the window closes.
        stores.scans.setWaited(scan, false);
        return stateAnswer(State::deviceApproved);
    }
    const Answer answer = signIn(stores, *account, fields, u"scan"_s);
    const QJsonObject data = QJsonDocument::fromJson(answer.body).object().value(u"data"_s).toObject();
    if (data[u"state"_s].toInt() == State::deviceWaiting)
        stores.scans.setWaited(scan, true);
    if (data.contains(u"ticket"_s))
        stores.scans.setTicket(scan, data[u"ticket"_s].toString());
    return answer;
}

Answer poll(Stores& stores, const QJsonObject& fields) {
    const QString deviceid = fields[u"deviceid"_s].toString();
    Database::Transaction transaction(stores.database);
    // 1: the user signed out while the server could not be reached.
    if (fields[u"clientoper"_s].toInt() == 1)
        stores.tickets.endOfDevice(deviceid);
    const auto scan = stores.scans.find(fields[u"soleid"_s].toString(), deviceid);
    Answer answer;
    if (!scan)
        // Clients drop "not signed in" without a word. It also ends a record of theirs that no session stands behind,
        // so a device with a session hears something that changes nothing.
        answer = stateAnswer(stores.tickets.hasLive(deviceid) ? State::nothingNew : State::notSignedIn);
    else if (scan->stage == Scan::Stage::Scanned)
        answer = stateAnswer(State::codeScanned);
    else if (scan->stage == Scan::Stage::Rejected)
        answer = stateAnswer(State::deviceRejected);
    else
        answer = pollConfirmed(stores, *scan, fields);
    transaction.commit();
    return answer;
}

QByteArray decisionPage(const Stores& stores, const QJsonObject& fields, const QString& code, const QString& refused) {
    QString html = u"<h1>扫码登录</h1><p>是否允许以下电脑登录？</p><dl>"_s;
    const QList<QPair<QString, QString>> facts{{u"hostname"_s, u"电脑名称"_s}, {u"login_user"_s, u"系统用户"_s},
        {u"os"_s, u"系统"_s}, {u"ip"_s, u"IP地址"_s}, {u"mac"_s, u"MAC地址"_s}, {u"deviceid"_s, u"设备标识"_s}};
    for (const auto& [name, title] : facts)
        html += u"<dt>%1</dt><dd>%2</dd>"_s.arg(title, escaped(fields[name].toString()));
    html += u"</dl>"_s;
    if (!refused.isEmpty())
        html += u"<p class=\"bad\">%1</p>"_s.arg(escaped(refused));
    html += u"<form method=\"post\" action=\"/api/public/clientlogin/scan_login\">"
            "<input type=\"hidden\" name=\"v\" value=\"%1\">"
            "<label>登录账号 <select name=\"userid\">"_s.arg(escaped(code));
    for (const Account& account : stores.accounts.all())
        html += u"<option value=\"%1\">%2</option>"_s.arg(
            escaped(account.userid), escaped(account.username + u"（"_s + account.userid + u"）"_s));
    html += u"</select></label><p class=\"row\"><button name=\"decision\" value=\"confirm\">确认登录</button>"
            "<button name=\"decision\" value=\"reject\" class=\"plain\">取消</button></p></form>"_s;
    return page(u"扫码登录"_s, html);
}

Answer openCode(Stores& stores, const Request& request, const QJsonObject& fields) {
    Database::Transaction transaction(stores.database);
    const QString soleid = fields[u"soleid"_s].toString();
    const QString deviceid = fields[u"deviceid"_s].toString();
    stores.devices.see(fields);
    stores.scans.scanned(soleid, deviceid);
    const auto scan = stores.scans.find(soleid, deviceid);
    transaction.commit();
    if (scan && scan->stage == Scan::Stage::Confirmed)
        return pageAnswer(messagePage(u"已确认登录"_s, u"请回到电脑上继续。"_s));
    return pageAnswer(decisionPage(stores, fields, request.query.queryItemValue(u"v"_s, QUrl::FullyDecoded), {}));
}

Answer decide(Stores& stores, const Request& request, const QJsonObject& fields) {
    const auto form = formValues(request.body);
    const QString soleid = fields[u"soleid"_s].toString();
    const QString deviceid = fields[u"deviceid"_s].toString();
    const QString decision = form.value(u"decision"_s);
    if (decision == "reject"_L1 && stores.scans.reject(soleid, deviceid))
        return pageAnswer(messagePage(u"已取消登录"_s, u"电脑上的登录请求已被拒绝。"_s));
    if (decision != "confirm"_L1)
        return pageAnswer(messagePage(u"请求无效"_s, u"请重新扫描二维码。"_s), 400);
    const auto account = stores.accounts.find(form.value(u"userid"_s));
    const auto device = stores.devices.find(deviceid);
    auto refused = account ? judgeAccount(*account) : std::optional<Refusal>(wrongPassword());
    if (!refused && device)
        refused = judgeDevice(*device, account->userid);
    if (refused)
        return pageAnswer(decisionPage(stores, fields, form.value(u"v"_s), refused->msg), 403);
    if (!stores.scans.confirm(soleid, deviceid, account->userid))
        return pageAnswer(messagePage(u"二维码已失效"_s, u"请在电脑上刷新二维码后重新扫描。"_s), 409);
    return pageAnswer(messagePage(u"已确认登录"_s, u"请回到电脑上继续。"_s));
}

} // namespace

void addScanRoutes(Router& router, Stores& stores) {
    const QString code = u"/api/public/clientlogin/scan_login"_s;
    router.add(
        "GET", code, {Form::SealedCode, scanCodeFields(), [&stores](const Request& request, const QJsonObject& fields) {
                          return openCode(stores, request, fields);
                      }});
    router.add("POST", code,
        {Form::SealedCode, scanCodeFields(),
            [&stores](const Request& request, const QJsonObject& fields) { return decide(stores, request, fields); }});
    router.add("POST", u"/api/public/clientlogin/scan_status"_s,
        {Form::Json, scanStatusFields(),
            [&stores](const Request&, const QJsonObject& fields) { return poll(stores, fields); }});
}

} // namespace Reference
