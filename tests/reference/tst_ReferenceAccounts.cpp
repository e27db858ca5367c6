#include "ServerCalls.h"

#include <QTest>

/// Drives the account operations of the reference server over its socket, as a client and as the operator would.
class tst_ReferenceAccounts : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY2(m_server.start(), qPrintable(m_server.lastError())); }
    void init() { QVERIFY2(m_server.makeAnew(), qPrintable(m_server.lastError())); }
    void refusesEveryWrongField();
    void refusesWhatIsNotSealed();
    void answers_data();
    void answers();
    void replacedTicketStaysGoodUntilItsSuccessorIsUsed();

private:
    ServerCalls m_server;
};

void tst_ReferenceAccounts::refusesEveryWrongField() {
    for (const char* operation : {"account_login", "ticket_auth", "logout", "resetpass", "retrieve_password", "ad_auth",
             "scan_status", "getcert"}) {
        for (const QString& name : rightFields(QString::fromLatin1(operation)).keys()) {
            if (name == "msg"_L1)
                continue; // sent by one of the two callers only
            for (const QJsonValue& wrong : {QJsonValue(), QJsonValue(QJsonArray()), QJsonValue(1.5)}) {
                const auto answer = m_server.call(QString::fromLatin1(operation), {{name, wrong}});
                QVERIFY2(answer[u"ret"_s] == -1 && answer[u"errorcode"_s] == 11,
                    qPrintable(QString::fromLatin1(operation) + u' ' + name));
                QVERIFY2(answer[u"msg"_s].toString().endsWith(name), qPrintable(answer[u"msg"_s].toString()));
            }
        }
    }
}

void tst_ReferenceAccounts::refusesWhatIsNotSealed() {
    const QByteArray json = QJsonDocument(rightFields(u"account_login"_s)).toJson();
    const QByteArray packed = WireCodec::deflate(json);
    const std::pair<const char*, QByteArray> bodies[] = {{"nothing", QByteArray()}, {"JSON in the clear", json},
        {"broken Base64", QByteArray("!!!!")}, {"half a block", QByteArray("12345678").toBase64()},
        {"wrong padding", QByteArray(32, 'x').toBase64()}, {"not compressed", WireCodec::encipher(json)},
        {"cut stream", WireCodec::encipher(packed.left(packed.size() - 5))},
        {"bytes after the stream", WireCodec::encipher(packed + "more")},
        {"no JSON", WireCodec::encipher(WireCodec::deflate("{\"userid\":"))},
        {"a list", WireCodec::encipher(WireCodec::deflate("[1]"))},
        {"deeply nested", WireCodec::encipher(WireCodec::deflate(QByteArray(500000, '[')))},
        {"bomb", WireCodec::encipher(WireCodec::deflate(json.trimmed() + QByteArray(64 << 20, ' ')))}};
    for (const auto& [what, body] : bodies) {
        const auto answer = m_server.post(pathOf(u"account_login"_s), body).json();
        QVERIFY2(answer[u"ret"_s] == -1 && answer[u"errorcode"_s] == 11, what);
    }
}

void tst_ReferenceAccounts::answers_data() {
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QByteArray>("changes");
    QTest::addColumn<int>("ret");
    QTest::addColumn<int>("errorcode");
    QTest::addColumn<int>("state");
    const auto row = [](const char* name, const char* action, const char* operation, const char* changes, int ret,
                         int errorcode, int state) {
        QTest::newRow(name) << QString::fromLatin1(action) << QString::fromLatin1(operation) << QByteArray(changes)
                            << ret << errorcode << state;
    };
    const char* login = "account_login";
    row("unknown user", "", login, R"({"userid":"nobody"})", 1, 6, absent);
    row("expired", "expire_user", login, "{}", 1, 16, absent);
    row("right code", "", login, R"({"userid":"code","otp":"123456","logintype":1})", 0, absent, 0);
    row("wrong code", "", login, R"({"userid":"code","otp":"654321","logintype":1})", 1, 7, absent);
    row("no code", "", login, R"({"userid":"code"})", 1, 8, absent);
    row("code without its type", "", login, R"({"userid":"code","otp":"123456"})", -1, 11, absent);
    row("type without its code", "", login, R"({"logintype":1})", -1, 11, absent);
    row("not a PC", "", login, R"({"device_type":"phone"})", -1, 11, absent);
    row("device waits", "", login, R"({"userid":"wait"})", 0, absent, -5);
    row("device approved", "approve_device", login, R"({"userid":"wait"})", 0, absent, 0);
    row("device rejected", "reject_device", login, "{}", 0, absent, -6);
    row("device logged out", "deregister_device", login, "{}", 0, absent, -7);
    row("not registered", "require_registration true", login, "{}", 0, absent, -4);
    row("wrong old password", "", "resetpass", R"({"old_password":"x"})", -1, 21, absent);
    row("same password", "", "resetpass", R"({"password":"Abc123!@"})", -1, 22, absent);
    row("reset while blocked", "block_user", "resetpass", "{}", 1, 15, absent);
    row("mail unknown user", "", "retrieve_password", R"({"user_id":"nobody"})", 1, 6, absent);
    row("no mailbox", "", "retrieve_password", R"({"user_id":"code"})", 1, 42, absent);
    row("admin has no mailbox", "admin_mail \"\"", "retrieve_password", "{}", 1, 43, absent);
    row("mail fails", "mail_works false", "retrieve_password", "{}", 1, 44, absent);
    row("domain account", "", "ad_auth", R"({"uid":"ZHAO"})", 0, absent, absent);
    row("other domain", "", "ad_auth", R"({"dc":"other.example"})", 1, 6, absent);
    row("logout with unknown ticket", "", "logout", R"({"ticket":"t"})", 0, absent, absent);
    row("code not scanned", "", "scan_status", "{}", 0, absent, -2);

    const char* check = "ticket_auth";
    row("ticket", "", check, "{}", 0, absent, 0);
    row("ticket without user and device", "", check, R"({"userid":"","deviceid":""})", 0, absent, 0);
    row("ticket of another user", "", check, R"({"userid":"wait"})", 0, absent, -2);
    row("ticket on another device", "", check, R"({"deviceid":"D2"})", 0, absent, -2);
    row("unknown ticket", "", check, R"({"ticket":"t"})", 0, absent, -2);
    row("ticket expired", "expire_ticket", check, "{}", 0, absent, -3);
    row("ticket revoked", "revoke_ticket", check, "{}", 0, absent, -7);
    row("ticket ended", "end_ticket", check, "{}", 0, absent, -2);
    row("ticket of somebody blocked", "block_user", check, "{}", 1, 15, absent);
    row("ticket of somebody expired", "expire_user", check, "{}", 1, 16, absent);
    row("ticket of nobody any more", "remove_account", check, "{}", 0, absent, -2);
    row("ticket of a blocked device", "block_device", check, "{}", 1, 25, absent);
    row("ticket of a rejected device", "reject_device", check, "{}", 0, absent, -6);
    row("ticket of a device that waits", "wait_device", check, "{}", 0, absent, -5);
    row("ticket of a device logged out", "deregister_device", check, "{}", 0, absent, -7);
    row("ticket of a device bound to another", R"({"action":"bind_device","deviceid":"D1","userid":"wait"})", check,
        "{}", 1, 24, absent);

    const char* certificate = "getcert";
    row("certificate for another system", "", certificate, R"({"os":1})", -1, 11, absent);
    row("certificate for an unknown ticket", "", certificate, R"({"ticket":"x"})", 1, 50, absent);
    row("certificate for another device", "", certificate, R"({"deviceid":"D2"})", 1, 50, absent);
    row("certificate for another user", "", certificate, R"({"userid":"code"})", 1, 50, absent);
    row("certificate for an expired ticket", "expire_ticket", certificate, "{}", 1, 50, absent);
    row("certificate for a revoked ticket", "revoke_ticket", certificate, "{}", 1, 50, absent);
    row("certificate for somebody blocked", "block_user", certificate, "{}", 1, 15, absent);
    row("certificate for a blocked device", "block_device", certificate, "{}", 1, 25, absent);
    row("certificate for a rejected device", "reject_device", certificate, "{}", 1, 51, absent);
}

void tst_ReferenceAccounts::answers() {
    QFETCH(QString, action);
    QFETCH(QString, operation);
    QFETCH(QByteArray, changes);
    QFETCH(int, ret);
    QFETCH(int, state);
    QJsonObject fields;
    if (rightFields(operation).contains(u"ticket"_s))
        fields[u"ticket"_s] = m_server.ticketOf(u"lin"_s);
    if (action.contains(u' ')) { // a setting and its value
        const QJsonValue value = parse(("{\"value\":" + action.section(u' ', 1) + '}').toUtf8().constData())[u"value"];
        QVERIFY(m_server.action(u"set_setting"_s, {{u"name"_s, action.section(u' ', 0, 0)}, {u"value"_s, value}}));
    } else if (!action.isEmpty()) {
        const QJsonObject whole = with({{u"action"_s, action}, {u"userid"_s, u"lin"_s}, {u"deviceid"_s, u"D1"_s}},
            parse(action.toUtf8().constData()));
        QVERIFY2(m_server.action(whole[u"action"_s].toString(), whole), qPrintable(m_server.lastError()));
    }
    const auto answer = m_server.call(operation, with(fields, parse(changes.constData())));
    QCOMPARE(number(answer[u"ret"_s]), ret);
    QTEST(number(answer[u"errorcode"_s]), "errorcode");
    QCOMPARE(number(answer[u"data"_s][u"state"_s]), state);
    QCOMPARE(number(answer[u"data"_s][u"status"_s]), state);
    QCOMPARE(answer[u"data"_s].toObject().contains(u"ticket"_s), state == 0);
    QVERIFY(answer[u"msg"_s].isString());
    QCOMPARE(answer[u"msg"_s].toString().isEmpty(), ret == 0 && (state == 0 || state == absent));
    if (operation == "ad_auth"_L1 && ret == 0)
        QCOMPARE(answer[u"data"_s][u"user_name"_s].toString(), u"赵"_s);
    QVERIFY(m_server.state()[u"certificates"_s].toArray().isEmpty());
}

void tst_ReferenceAccounts::replacedTicketStaysGoodUntilItsSuccessorIsUsed() {
    const QString first = m_server.ticketOf(u"lin"_s);
    QVERIFY(m_server.action(u"rotate_ticket"_s, {{u"userid"_s, u"lin"_s}}));
    const auto successor = [this](const QString& ticket) {
        return m_server.call(u"ticket_auth"_s, {{u"ticket"_s, ticket}})[u"data"_s][u"ticket"_s].toString();
    };
    const QString lost = successor(first);
    const QString second = successor(first);
    QVERIFY(lost != first && second != first && second != lost);
    QCOMPARE(m_server.stateOfTicket(lost), -2);
    QCOMPARE(successor(second), second);
    QCOMPARE(m_server.stateOfTicket(first), -2);
}

QTEST_GUILESS_MAIN(tst_ReferenceAccounts)
#include "tst_ReferenceAccounts.moc"
