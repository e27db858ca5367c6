#include "ClientWorld.h"

#include "ReferenceServer.h"
#include "WireCodec.h"

#include <QJsonDocument>
#include <QTcpServer>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

QString last(const QString& operation) {
    return u"/api/public/clientlogin/"_s + operation;
}

using Operation = std::function<void(AccountManager&, const AccountManager::Completion&)>;

Operation signIn(const QString& otp) {
    return [otp](auto& accounts, const auto& done) {
        accounts.PostResquestDicWithParamDic({{"userid", "lin"}, {"password", "Passw0rd!"}, {"otp", otp}}, done);
    };
}

const QMap<QString, Operation> Operations{{u"account_login"_s, signIn({})},
    {u"account_login+otp"_s, signIn(u"123456"_s)},
    {u"ticket_auth"_s, [](auto& accounts, const auto& done) { accounts.checkTicketState(u"T-1"_s, done); }},
    {u"ad_auth"_s,
        [](auto& accounts, const auto& done) {
            accounts.checkDomainAccount(
                u"lin"_s, u"corp.example"_s, [done](bool, const auto&, const Error& error) { done({}, error); });
        }},
    {u"logout"_s,
        [](auto& accounts, const auto& done) {
            accounts.loginOut({{"userid", "lin"}, {"msg", "logout"}}, done);
        }},
    {u"resetpass"_s,
        [](auto& accounts, const auto& done) {
            accounts.ResetPassword({{"userid", "lin"}, {"old_password", "a"}, {"password", "b"}}, done);
        }},
    {u"retrieve_password"_s,
        [](auto& accounts, const auto& done) {
            accounts.retrievePassWord({{"user_id", "lin"}}, done);
        }},
    {u"scan_status"_s, [](auto& accounts, const auto& done) { accounts.checkQRLoginState(0, done); }},
    {u"start_config"_s, [](auto& accounts, const auto& done) { accounts.GeneralConfig(done); }},
    {u"ngnpolicy"_s, [](auto& accounts, const auto& done) { accounts.GetGeneralNGNPolicyRep(done); }}};

} // namespace

/// The account API against the real server: what goes over the wire, and what comes back of every answer.
class tst_AccountManager : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        m_server.addAccount(u"lin"_s, u"Passw0rd!"_s, {}, u"lin@corp.example"_s);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() { m_server.clearFaults(); }

    void sealedFields_data() {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QStringList>("keys");
        const QStringList device{"device_type", "deviceid", "hostname", "ip", "mac", "os", "soleid", "timestamp"};
        QTest::newRow("login") << "account_login" << device + QStringList{"logintype", "password", "userid"};
        QTest::newRow("login with code") << "account_login+otp"
                                         << device + QStringList{"logintype", "otp", "password", "userid"};
        QTest::newRow("ticket") << "ticket_auth" << QStringList{"deviceid", "hostname", "mac", "ticket", "userid"};
        QTest::newRow("domain") << "ad_auth" << QStringList{"dc", "deviceid", "mac", "uid"};
        QTest::newRow("logout") << "logout" << QStringList{"msg", "userid"};
        QTest::newRow("reset") << "resetpass"
                               << device + QStringList{"logintype", "old_password", "password", "userid"};
        QTest::newRow("retrieval") << "retrieve_password" << QStringList{"user_id"};
        QTest::newRow("scan, plain") << "scan_status"
                                     << QStringList{"clientoper", "deviceid", "hostname", "mac", "soleid"};
    }
    void sealedFields() {
        QFETCH(QString, operation);
        QFETCH(QStringList, keys);
        ClientFolder folder(m_server.httpPort());
        ClientWorld client(folder);
        Outcome outcome;
        Operations[operation](client.accounts, outcome.completion());
        QVERIFY(outcome.wait());
        QVERIFY2(!outcome.error, qPrintable(outcome.error.logText()));

        const QJsonArray requests = m_server.requests(last(operation.section(u'+', 0, 0)));
        QVERIFY(!requests.isEmpty());
        const QByteArray sent = ReferenceServer::bodyOf(requests.last().toObject());
        const auto body =
            operation == u"scan_status" ? QJsonDocument::fromJson(sent).object() : WireCodec::openRequest(sent);
        QVERIFY(body);
        keys.sort();
        QCOMPARE(body->keys(), keys);
        if (keys.contains(u"logintype"_s))
            QCOMPARE(body->value(u"logintype"), QJsonValue(operation.endsWith(u"otp") ? 1 : 0));
        if (keys.contains(u"device_type"_s)) {
            QCOMPARE(body->value(u"device_type").toString(), u"PC"_s);
            QCOMPARE(body->value(u"deviceid").toString(), client.device.uuid());
            QCOMPARE(body->value(u"hostname").toString(), client.device.machineName());
            QCOMPARE(body->value(u"os").toString(), client.device.osName());
            QCOMPARE(body->value(u"mac").toString(), client.device.macAddresses().join(u';'));
            QCOMPARE(body->value(u"ip").toString(), client.device.ipArray().join(u';'));
            QVERIFY(qAbs(body->value(u"timestamp").toString().toLongLong() - QDateTime::currentSecsSinceEpoch()) < 30);
            // No sole id file: the empty text, never nothing.
            QCOMPARE(body->value(u"soleid"), QJsonValue(""_L1));
        }
        if (operation == u"ticket_auth"_s) {
            QCOMPARE(body->value(u"ticket"), QJsonValue(u"T-1"_s));
            QCOMPARE(body->value(u"userid"), QJsonValue(""_L1));
        }
    }

    void signInIsLoggedWithoutItsPassword() {
        ClientFolder folder(m_server.httpPort());
        ClientWorld client(folder);
        for (const bool fails : {true, false}) {
            if (fails)
                QVERIFY(m_server.fault(last(u"account_login"_s), {{"kind", "status"}, {"status", 500}}));
            Outcome outcome;
            Operations[u"account_login"_s](client.accounts, outcome.completion());
            QVERIFY(outcome.wait());
            QCOMPARE(outcome.error.code(), fails ? Error::BadServerResponse : 0);
            QCOMPARE(outcome.answer.isEmpty(), fails);
            const QString log = client.logText();
            QVERIFY2(log.contains(fails ? u"Account login faild with error:"_s
                                        : u"[AccountManager] QenCloud login success in xpc"_s),
                qPrintable(log));
            QVERIFY(log.contains(u"[AccountManager] QenCloud account login url:http://127.0.0.1:"_s));
            QVERIFY(!log.contains(u"Passw0rd!"_s));
        }
    }

    void withoutAServerEveryCallFailsAtOnce() {
        ClientFolder folder;
        ClientWorld client(folder);
        QMap<QString, Operation> atOnce = Operations;
        atOnce.remove(u"ad_auth"_s); // its address is formed whatever the list says
        for (const Operation& operation : std::as_const(atOnce)) {
            Outcome outcome;
            operation(client.accounts, outcome.completion());
            // On the caller's thread, before the call returns.
            QCOMPARE(outcome.calls, 1);
            QCOMPARE(outcome.error.code(), 1234);
            QCOMPARE(outcome.error.domain(), u"NSURLErrorDomain"_s);
        }
        QVERIFY(client.logText().contains(u"Service Config no compliance,UrlStr==nil"_s));
        QVERIFY(!client.accounts.createQRPath());
        QVERIFY(client.accounts.createQRForString(180).isNull());

        // Neither answers nor waits.
        bool called = false;
        client.accounts.NetWorkType([&](int) { called = true; });
        QVERIFY(!called);
        QVERIFY(client.logText().contains(u"没有配置IP和端口"_s));
        std::optional<bool> ping;
        client.accounts.pingServerResult([&](bool reachable) { ping = reachable; });
        QCOMPARE(ping, std::optional(false));
    }

    void qrCodeTellsTheDevice() {
        ClientFolder folder;
        folder.configure({QVariant(QVariantList{"10.0.0.8", 80}), QVariant(QVariantList{"10.0.0.8", 80}),
            QVariant(QVariantList{"10.0.0.8#portal#qen", 8443})});
        QVERIFY(archiveRootObject(u"0123456789abcdef"_s, folder.state(u"soleid.archive"_s)));
        ClientWorld client(folder);
        QCOMPARE(client.accounts.createQRForString(180).deviceIndependentSize(), QSizeF(180, 180));
        const QString text = client.accounts.createQRPath().value_or(QString());
        const QString prefix = u"https://10.0.0.8:8443/portal/qen/api/public/clientlogin/scan_login?v="_s;
        QVERIFY2(text.startsWith(prefix), qPrintable(text));
        const QString escaped = text.mid(prefix.size());
        // Every byte but letters and digits is escaped.
        QVERIFY(!escaped.contains(QRegularExpression(u"[^0-9A-Za-z%]"_s)));
        const auto fields = WireCodec::openRequest(QByteArray::fromPercentEncoding(escaped.toLatin1()));
        QVERIFY(fields);
        QCOMPARE(fields->keys(),
            QStringList(
                {"device_type", "deviceid", "hostname", "ip", "login_user", "mac", "os", "soleid", "timestamp"}));
        QCOMPARE(fields->value(u"soleid").toString(), u"0123456789abcdef"_s);
        QVERIFY(client.logText().contains(u"[AccountManager] QenCloud create QR string:"_s + prefix));
    }

    void networkChoice_data() {
        QTest::addColumn<QString>("servers");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("failedProbes");
        QTest::addColumn<QString>("line");
        QTest::newRow("intranet answers") << "good dead" << 0 << 0 << "is Intranet URL:http://127.0.0.1:";
        QTest::newRow("extranet answers") << "dead good" << 1 << 1 << "is Extranet URL:http://127.0.0.1:";
        QTest::newRow("neither") << "dead dead" << 0 << 2 << "is no network,The default is Intranet";
    }
    void networkChoice() {
        QFETCH(QString, servers);
        QFETCH(int, type);
        QFETCH(int, failedProbes);
        QFETCH(QString, line);
        ClientFolder folder;
        QVariantList pairs;
        for (const QString& kind : servers.split(u' '))
            pairs << QVariant(QVariantList{"127.0.0.1", kind == u"good" ? m_server.httpPort() : quint16(1)});
        folder.configure(pairs);
        ClientWorld client(folder);
        QElapsedTimer timer;
        timer.start();
        int chosen = -1;
        client.accounts.NetWorkType([&](int result) { chosen = result; });
        QCOMPARE(chosen, type);
        // A failed probe costs its three seconds, however early it failed.
        QVERIFY(timer.elapsed() >= failedProbes * 3000);
        QVERIFY(timer.elapsed() < failedProbes * 3000 + 2000);
        QVERIFY(client.logText().contains(u"QenCloud networktpye "_s + line));
    }

    void silentServerCostsTheStatedTime() {
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        ClientFolder folder;
        folder.configure(silent.serverPort());
        ClientWorld client(folder);
        Outcome ticket;
        Outcome scan;
        QElapsedTimer timer;
        timer.start();
        client.accounts.checkTicketState(u"T"_s, ticket.completion());
        client.accounts.checkQRLoginState(0, scan.completion());
        QVERIFY(scan.wait());
        QVERIFY2(qAbs(timer.elapsed() - 2000) < 600, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(ticket.wait());
        QVERIFY2(qAbs(timer.elapsed() - 3000) < 600, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(ticket.error.code(), Error::TimedOut);
        QCOMPARE(scan.error.code(), Error::TimedOut);
    }

private:
    ReferenceServer m_server;
};

QTEST_GUILESS_MAIN(tst_AccountManager)
#include "tst_AccountManager.moc"
