#include "OperatorPage.h"

#include "Faults.h"
#include "Fields.h"
#include "Html.h"
#include "OperatorRoutes.h"
#include "RequestLog.h"
#include "Router.h"
#include "Stores.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr int shownRequests = 40;

// Buttons carry their action as JSON; the forms' fields are added to it. The parts are fetched anew every two seconds.
const char script[] = R"(
const post=(path,body)=>fetch(path,{method:'POST',headers:{'Content-Type':'application/json'},body:JSON.stringify(body)})
 .then(r=>r.json()).then(a=>{document.getElementById('said').textContent=a.ret===0?'':a.msg;refresh()});
const parts=document.getElementById('parts');let shown='';
const refresh=()=>fetch('/operator/parts').then(r=>r.text()).then(t=>{if(t!==shown){shown=t;parts.innerHTML=t}})
 .catch(()=>{document.getElementById('said').textContent='服务器没有应答'});
parts.addEventListener('click',e=>{const a=e.target.dataset.action;if(a)post('/operator/action',JSON.parse(a))});
for(const f of document.forms)f.addEventListener('submit',e=>{e.preventDefault();
 const body=Object.fromEntries([...new FormData(f)].filter(([,v])=>v!==''));
 for(const n of f.querySelectorAll('input[type=number]'))if(n.value!=='')body[n.name]=Number(n.value);
 post(f.dataset.path,body)});
document.getElementById('clear').addEventListener('click',()=>post('/operator/faults',{kind:'clear'}));
refresh();setInterval(refresh,2000);
)";

const char forms[] = R"(
<h1>参考管理服务器</h1><p id="said" class="bad" role="status"></p>
<section><h2>添加账号</h2><form data-path="/operator/action"><input type="hidden" name="action" value="add_account">
<label>账号 <input name="userid" required></label><label>密码 <input name="password" type="password" required autocomplete="off"></label>
<label>姓名 <input name="username"></label><label>动态口令 <input name="otp"></label><label>邮箱 <input name="mail"></label>
<button>添加</button></form></section>
<section><h2>故障注入</h2><form data-path="/operator/faults">
<label>接口 <select name="path"><option value="*">全部</option>
<option>/qen/ping</option><option>/qen/ngnpolicy</option><option>/api/public/client/start_config</option>
<option>/api/public/clientlogin/account_login</option><option>/api/public/clientlogin/scan_status</option>
<option>/api/public/clientlogin/ticket_auth</option><option>/api/public/clientlogin/logout</option>
<option>/api/public/clientlogin/resetpass</option><option>/api/public/clientlogin/retrieve_password</option>
<option>/api/public/clientlogin/ad_auth</option><option>/api/inac/ca/getcert</option>
<option>/api/inac/ca/checkstatus</option></select></label>
<label>故障 <select name="kind"><option value="delay">延迟</option><option value="silent">不应答</option>
<option value="close">断开连接</option><option value="status">HTTP状态</option><option value="text">不是JSON</option>
<option value="shape">类型错误</option><option value="errorcode">错误码</option><option value="state">状态</option><option value="seal">密封错误</option></select></label>
<label>次数 <input name="count" type="number" min="1" value="1"></label>
<label>延迟秒数 <input name="seconds" type="number" min="0" step="0.1" placeholder="3"></label>
<label>HTTP状态 <input name="status" type="number" min="200" max="599"></label>
<label>错误码 <input name="errorcode" type="number"></label><label>状态 <input name="state" type="number"></label>
<label>形状 <select name="shape"><option>array</option><option>data_list</option><option>data_text</option>
<option>ret_text</option><option>state_null</option><option>no_data</option><option>truncated</option></select></label>
<label>密封层 <select name="layer"><option>base64</option><option>cipher</option><option>packing</option>
<option>cut</option><option>json</option></select></label>
<button>注入</button><button type="button" id="clear">全部清除</button></form></section>
<div id="parts"></div>
)";

QString button(const QString& title, const QString& action, QJsonObject values) {
    values[u"action"_s] = action;
    const QString json = QString::fromUtf8(QJsonDocument(values).toJson(QJsonDocument::Compact));
    return u"<button data-action=\"%1\">%2</button>"_s.arg(escaped(json), escaped(title));
}

QString cell(const QString& html) {
    return u"<td>"_s + html + u"</td>"_s;
}

QString table(const QString& title, const QStringList& heads, const QStringList& rows) {
    QString html = u"<section><h2>%1</h2>"_s.arg(escaped(title));
    if (rows.isEmpty())
        return html + u"<p class=\"none\">暂无数据</p></section>"_s;
    html += u"<table><thead><tr>"_s;
    for (const QString& head : heads)
        html += u"<th>%1</th>"_s.arg(escaped(head));
    return html + u"</tr></thead><tbody>"_s + rows.join(QString()) + u"</tbody></table></section>"_s;
}

QString row(const QStringList& cells) {
    QString html = u"<tr>"_s;
    for (const QString& content : cells)
        html += cell(content);
    return html + u"</tr>"_s;
}

QString word(const QString& look, const QString& text) {
    return u"<span class=\"%1\">%2</span> "_s.arg(look, escaped(text));
}

QString timeText(qint64 seconds) {
    return seconds == 0 ? u"-"_s : QDateTime::fromSecsSinceEpoch(seconds).toString(u"MM-dd HH:mm:ss"_s);
}

QString accountRow(const Account& account) {
    const QJsonObject who{{u"userid"_s, account.userid}};
    QString standing;
    if (account.blocked)
        standing += word(u"bad"_s, u"已禁用"_s);
    if (account.expired)
        standing += word(u"warn"_s, u"已过期"_s);
    if (account.mustChangePassword)
        standing += word(u"warn"_s, u"须改密码"_s);
    if (account.requiresApproval)
        standing += word(u"second"_s, u"设备需审核"_s);
    if (!account.otp.isEmpty())
        standing += word(u"second"_s, u"动态口令"_s);
    const auto flip = [&who](const QString& title, const QString& action, bool on) {
        QJsonObject values = who;
        values[u"on"_s] = on;
        return button(title, action, values);
    };
    return row({escaped(account.userid), escaped(account.username), escaped(account.mail),
        standing.isEmpty() ? word(u"good"_s, u"正常"_s) : standing,
        (account.blocked ? button(u"启用"_s, u"unblock_user"_s, who) : button(u"禁用"_s, u"block_user"_s, who)) +
            (account.expired ? button(u"续期"_s, u"renew_user"_s, who) : button(u"过期"_s, u"expire_user"_s, who)) +
            (account.mustChangePassword ? flip(u"取消改密"_s, u"require_password_change"_s, false)
                                        : flip(u"要求改密"_s, u"require_password_change"_s, true)) +
            (account.requiresApproval ? flip(u"免审核"_s, u"require_approval"_s, false)
                                      : flip(u"需审核"_s, u"require_approval"_s, true)) +
            button(u"删除"_s, u"remove_account"_s, who)});
}

QString standingText(const Device& device) {
    QString html = device.blocked ? word(u"bad"_s, u"已禁用"_s) : QString();
    switch (device.standing) {
    case Device::Standing::New:
        return html + word(u"second"_s, u"未审核"_s);
    case Device::Standing::Waiting:
        return html + word(u"warn"_s, u"待审核"_s);
    case Device::Standing::Approved:
        return html + word(u"good"_s, u"审核通过"_s);
    case Device::Standing::Rejected:
        return html + word(u"bad"_s, u"审核拒绝"_s);
    case Device::Standing::Deregistered:
        return html + word(u"bad"_s, u"已注销"_s);
    }
    return html;
}

QString deviceRow(const Device& device) {
    const QJsonObject which{{u"deviceid"_s, device.deviceid}};
    return row({escaped(device.hostname) + u"<br><code>"_s + escaped(device.deviceid) + u"</code>"_s,
        escaped(device.os), escaped(device.ip), escaped(device.mac), standingText(device), escaped(device.boundUserid),
        timeText(device.lastSeen),
        button(u"通过"_s, u"approve_device"_s, which) + button(u"拒绝"_s, u"reject_device"_s, which) +
            button(u"注销"_s, u"deregister_device"_s, which) +
            (device.blocked ? button(u"启用"_s, u"unblock_device"_s, which)
                            : button(u"禁用"_s, u"block_device"_s, which)) +
            button(u"忘记"_s, u"forget_device"_s, which)});
}

QString sessionRow(const Session& session) {
    const QJsonObject which{{u"session"_s, session.id}};
    const bool live = session.state == Session::State::Live;
    return row({QString::number(session.id), escaped(session.userid),
        u"<code>"_s + escaped(session.deviceid) + u"</code>"_s, escaped(session.kind),
        word(live ? u"good"_s : u"second"_s, stateName(session.state)) +
            (session.rotates ? word(u"second"_s, u"待换票"_s) : QString()),
        timeText(session.expires), timeText(session.lastCheck),
        live ? button(u"过期"_s, u"expire_ticket"_s, which) + button(u"吊销"_s, u"revoke_ticket"_s, which) +
                button(u"换票"_s, u"rotate_ticket"_s, which)
             : QString()});
}

QString scanRow(const Scan& scan, const QList<Account>& accounts) {
    const QJsonObject which{{u"soleid"_s, scan.soleid}, {u"deviceid"_s, scan.deviceid}};
    QString buttons;
    for (const Account& account : accounts) {
        QJsonObject values = which;
        values[u"userid"_s] = account.userid;
        buttons += button(u"确认为 "_s + account.userid, u"confirm_scan"_s, values);
    }
    return row({u"<code>"_s + escaped(scan.soleid) + u"</code>"_s, u"<code>"_s + escaped(scan.deviceid) + u"</code>"_s,
        escaped(stageName(scan.stage)), escaped(scan.userid),
        scan.stage == Scan::Stage::Scanned ? buttons + button(u"拒绝"_s, u"reject_scan"_s, which) : QString()});
}

QString certificateRow(const IssuedCertificate& certificate) {
    return row({u"<code>"_s + escaped(certificate.serial) + u"</code>"_s, escaped(certificate.userid),
        u"<code>"_s + escaped(certificate.deviceid) + u"</code>"_s, timeText(certificate.issued),
        QDateTime::fromSecsSinceEpoch(certificate.expires).toString(u"yyyy-MM-dd"_s),
        certificate.revoked ? word(u"bad"_s, u"已吊销"_s) : word(u"good"_s, u"有效"_s),
        certificate.revoked
            ? QString()
            : button(u"吊销"_s, u"revoke_certificate"_s, QJsonObject{{u"serial"_s, certificate.serial}})});
}

QString requestRow(const RequestLog::Entry& entry) {
    const auto compact = [](const QJsonObject& json) {
        return QString::fromUtf8(QJsonDocument(withoutSecrets(json)).toJson(QJsonDocument::Compact));
    };
    return row({QString::number(entry.number), entry.time.toString(u"HH:mm:ss.zzz"_s),
        escaped(QString::fromLatin1(entry.request.method) + u' ' + entry.request.path),
        u"<code>"_s + escaped(compact(entry.fields)) + u"</code>"_s, QString::number(entry.status),
        u"<code>"_s + escaped(compact(QJsonDocument::fromJson(entry.answer).object())) + u"</code>"_s,
        escaped(entry.fault)});
}

QString faultRows(const Faults& faults) {
    QStringList rows;
    for (const auto& fault : faults.toJson())
        rows.append(row({escaped(fault[u"path"_s].toString()), escaped(fault[u"kind"_s].toString()),
            QString::number(fault[u"count"_s].toInt())}));
    return rows.isEmpty() ? QString() : table(u"待触发的故障"_s, {u"接口"_s, u"故障"_s, u"剩余次数"_s}, rows);
}

QString mailRow(const Mail& mail) {
    return row({timeText(mail.sent), escaped(mail.recipient), escaped(mail.subject),
        u"<code>"_s + escaped(mail.text) + u"</code>"_s});
}

QString parts(const OperatorDesk& desk) {
    const QList<Account> accounts = desk.stores.accounts.all();
    QStringList accountRows, deviceRows, sessionRows, scanRows, certificateRows, mailRows, requestRows;
    for (const Account& account : accounts)
        accountRows.append(accountRow(account));
    for (const Device& device : desk.stores.devices.all())
        deviceRows.append(deviceRow(device));
    for (const Session& session : desk.stores.tickets.all())
        sessionRows.append(sessionRow(session));
    for (const Scan& scan : desk.stores.scans.all())
        scanRows.append(scanRow(scan, accounts));
    for (const IssuedCertificate& certificate : desk.stores.certificates.all())
        certificateRows.append(certificateRow(certificate));
    for (const Mail& mail : desk.stores.settings.mails())
        mailRows.append(mailRow(mail));
    const auto& entries = desk.log.entries();
    for (auto it = entries.rbegin(); it != entries.rend() && requestRows.size() < shownRequests; ++it)
        requestRows.append(requestRow(*it));
    return faultRows(desk.faults) +
        table(u"账号"_s, {u"账号"_s, u"姓名"_s, u"邮箱"_s, u"状态"_s, u"操作"_s}, accountRows) +
        table(u"设备"_s, {u"电脑"_s, u"系统"_s, u"IP"_s, u"MAC"_s, u"状态"_s, u"绑定账号"_s, u"最近请求"_s, u"操作"_s},
            deviceRows) +
        table(u"会话"_s, {u"编号"_s, u"账号"_s, u"设备"_s, u"方式"_s, u"状态"_s, u"到期"_s, u"最近校验"_s, u"操作"_s},
            sessionRows) +
        table(u"扫码登录"_s, {u"标识"_s, u"设备"_s, u"阶段"_s, u"账号"_s, u"操作"_s}, scanRows) +
        table(u"入网证书"_s, {u"序列号"_s, u"账号"_s, u"设备"_s, u"签发"_s, u"有效期至"_s, u"状态"_s, u"操作"_s},
            certificateRows) +
        table(u"已发邮件"_s, {u"时间"_s, u"收件人"_s, u"主题"_s, u"内容"_s}, mailRows) +
        table(
            u"最近请求"_s, {u"序号"_s, u"时间"_s, u"接口"_s, u"参数"_s, u"HTTP"_s, u"应答"_s, u"故障"_s}, requestRows);
}

} // namespace

void addOperatorPage(Router& router, const OperatorDesk& desk) {
    const auto whole = [](const Request&, const QJsonObject&) {
        Answer answer = pageAnswer(page(u"参考管理服务器"_s, QString::fromUtf8(forms), QString::fromUtf8(script)));
        answer.headers = {contentPolicy(script)};
        return answer;
    };
    const auto changing = [desk](const Request&, const QJsonObject&) { return pageAnswer(parts(desk).toUtf8()); };
    router.add("GET", u"/operator"_s, {Form::None, {}, whole});
    router.add("GET", u"/operator/parts"_s, {Form::None, {}, changing});
}

} // namespace Reference
