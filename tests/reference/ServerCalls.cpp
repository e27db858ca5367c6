#include "ServerCalls.h"

QJsonObject with(QJsonObject fields, const QJsonObject& changes) {
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        if (it.value().isNull())
            fields.remove(it.key());
        else
            fields[it.key()] = it.value();
    }
    return fields;
}

QJsonObject rightFields(const QString& operation) {
    static const QJsonObject all = parse(R"({
        "account_login": {"device_type":"PC","deviceid":"D1","hostname":"h","ip":"10.0.0.1","logintype":0,"mac":"aa","os":"Linux",
                          "password":"Abc123!@","timestamp":"1700000000","userid":"lin","soleid":"0123456789abcdef"},
        "ticket_auth": {"ticket":"t","hostname":"h","mac":"aa","userid":"lin","deviceid":"D1"},
        "logout": {"userid":"lin","mac":"aa","ip":"10.0.0.1","deviceid":"D1","ticket":"t","msg":"logout"},
        "resetpass": {"userid":"lin","old_password":"Abc123!@","password":"New123!@","device_type":"PC","deviceid":"D1",
                      "hostname":"h","ip":"10.0.0.1","logintype":0,"mac":"aa","os":"Linux","timestamp":"1700000000","soleid":""},
        "retrieve_password": {"user_id":"lin"},
        "ad_auth": {"uid":"zhao","dc":"corp.example","deviceid":"D1","mac":"aa"},
        "scan_login": {"hostname":"<b>&h","ip":"10.0.0.1","mac":"aa","device_type":"PC","login_user":"u",
                       "timestamp":"1700000000","deviceid":"D1","os":"Linux","soleid":"0123456789abcdef"},
        "getcert": {"machinename":"h","userid":"lin","deviceid":"D1","mac":"aa;bb","os":3,"ticket":"t"},
        "scan_status": {"hostname":"h","deviceid":"D1","mac":"aa","clientoper":0,"soleid":"0123456789abcdef"}})");
    return all.value(operation).toObject();
}

bool ServerCalls::makeAnew() {
    for (const char* user : {"lin", "code", "wait"})
        action(u"remove_account"_s, {{u"userid"_s, QString::fromLatin1(user)}});
    const char* accounts[] = {R"({"userid":"lin","password":"Abc123!@","username":"林","mail":"lin@mav.example"})",
        R"({"userid":"code","password":"Abc123!@","otp":"123456"})",
        R"({"userid":"wait","password":"Abc123!@","require_approval":true})"};
    bool made = action(u"reset"_s);
    for (const char* account : accounts)
        made = made && action(u"add_account"_s, parse(account));
    return made && action(u"add_domain_account"_s, parse(R"({"uid":"zhao","dc":"corp.example","user_name":"赵"})"));
}

QJsonObject ServerCalls::call(const QString& operation, const QJsonObject& changes) {
    const QJsonObject fields = with(rightFields(operation), changes);
    const QByteArray body =
        operation == "scan_status"_L1 ? QJsonDocument(fields).toJson() : WireCodec::sealRequest(fields);
    const Reply reply = post(pathOf(operation), body);
    // Packed and enciphered like a request.
    return operation == "getcert"_L1 ? WireCodec::openRequest(reply.body).value_or(QJsonObject()) : reply.json();
}

QString ServerCalls::ticketOf(const QString& userid, const QString& deviceid) {
    const auto answer = call(u"account_login"_s, {{u"userid"_s, userid}, {u"deviceid"_s, deviceid}});
    return answer[u"data"_s][u"ticket"_s].toString();
}

int ServerCalls::stateOfTicket(const QString& ticket, const QString& userid, const QString& deviceid) {
    const auto answer =
        call(u"ticket_auth"_s, {{u"ticket"_s, ticket}, {u"userid"_s, userid}, {u"deviceid"_s, deviceid}});
    return number(answer[u"data"_s][u"state"_s]);
}

QString ServerCalls::codeAddress() {
    const QByteArray sealed = WireCodec::sealRequest(rightFields(u"scan_login"_s));
    return pathOf(u"scan_login"_s) + u"?v="_s + QString::fromLatin1(sealed.toPercentEncoding());
}

ServerCalls::Reply ServerCalls::decide(const QString& decision, const QString& userid, const QByteArray& origin) {
    const QByteArray code = codeAddress().section(u'=', 1).toLatin1();
    const Headers headers = origin.isEmpty() ? Headers() : Headers{{"Origin", origin}};
    return post(pathOf(u"scan_login"_s), "v=" + code + "&userid=" + userid.toUtf8() + "&decision=" + decision.toUtf8(),
        headers);
}
