#include "ClientWorld.h"

#include "ReferenceServer.h"
#include "WireCodec.h"

#include <QJsonDocument>
#include <QTcpServer>
#include <QUrl>

#include <ZXing/ReadBarcode.h>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

const QString Login = u"/api/public/clientlogin/account_login"_s;

QString last(const QString& operation) {
    return u"/api/public/clientlogin/"_s + operation;
}

QStringList keysOf(const QJsonObject& object) {
    QStringList keys = object.keys();
    keys.sort();
    return keys;
}

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
        const auto with = [](QStringList keys, const QStringList& more) {
            keys += more;
            keys.sort();
            return keys;
        };
        QTest::newRow("login") << "account_login" << with(device, {"logintype", "password", "userid"});
        QTest::newRow("login with code") << "account_login+otp"
                                         << with(device, {"logintype", "otp", "password", "userid"});
        QTest::newRow("ticket") << "ticket_auth" << QStringList{"deviceid", "hostname", "mac", "ticket", "userid"};
        QTest::newRow("domain") << "ad_auth" << QStringList{"dc", "deviceid", "mac", "uid"};
        QTest::newRow("logout") << "logout" << QStringList{"msg", "userid"};
        QTest::newRow("reset") << "resetpass" << with(device, {"logintype", "old_password", "password", "userid"});
        QTest::newRow("retrieval") << "retrieve_password" << QStringList{"user_id"};
    }
    void sealedFields() {
        QFETCH(QString, operation);
        QFETCH(QStringList, keys);
        ClientFolder folder;
        folder.configure(m_server.httpPort());
        ClientWorld client(folder);
        Outcome outcome;
        send(client, operation, outcome);
        QVERIFY(outcome.wait());
        QVERIFY2(!outcome.error, qPrintable(outcome.error.logText()));

        const QJsonArray requests = m_server.requests(last(operation.section(u'+', 0, 0)));
        QVERIFY(!requests.isEmpty());
        const auto body = WireCodec::openRequest(ReferenceServer::bodyOf(requests.last().toObject()));
        QVERIFY(body);
        QCOMPARE(keysOf(*body), keys);
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

    void answersAndErrors_data() {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<QString>("logLine");
        const auto row = [](const char* name, const QJsonObject& fault, qint64 code, const char* line) {
            QTest::newRow(name) << fault << code << QString::fromUtf8(line);
        };
        row("HTTP 500", {{"kind", "status"}, {"status", 500}}, Error::BadServerResponse,
            "Account login faild with error:");
        row("not JSON", {{"kind", "text"}}, Error::NotJson, "Account login faild with error:");
        row("closed", {{"kind", "close"}}, Error::ConnectionLost, "Account login faild with error:");
        row("as it should be", {}, 0, "[AccountManager] QenCloud login success in xpc");
    }
    void answersAndErrors() {
        QFETCH(QJsonObject, fault);
        QFETCH(qint64, code);
        QFETCH(QString, logLine);
        ClientFolder folder;
        folder.configure(m_server.httpPort());
        ClientWorld client(folder);
        if (!fault.isEmpty())
            QVERIFY2(m_server.fault(Login, fault), qPrintable(m_server.lastError()));
        Outcome outcome;
        send(client, u"account_login"_s, outcome);
        QVERIFY(outcome.wait());
        QCOMPARE(outcome.error.code(), code);
        QCOMPARE(outcome.answer.isEmpty(), code != 0);
        const QString log = client.logText();
        QVERIFY2(log.contains(logLine), qPrintable(log));
        QVERIFY(log.contains(u"[AccountManager] QenCloud account login url:http://127.0.0.1:"_s));
        QVERIFY(!log.contains(u"Passw0rd!"_s));
    }

    void withoutAServerEveryCallFailsAtOnce() {
        ClientFolder folder;
        ClientWorld client(folder);
        for (const char* operation : {"account_login", "ticket_auth", "logout", "resetpass", "retrieve_password",
                 "scan_status", "start_config", "ngnpolicy"}) {
            Outcome outcome;
            send(client, QString::fromLatin1(operation), outcome);
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

    void domainAnswers_data() {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("success");
        QTest::addColumn<QString>("userName");
        QTest::newRow("name") << QJsonObject{{"ret", 0}, {"data", QJsonObject{{"user_name", "林"}}}} << true << "林";
        QTest::newRow("empty data") << QJsonObject{{"ret", 0}, {"data", QJsonObject{}}} << true << "(empty)";
        QTest::newRow("data is a list") << QJsonObject{{"ret", 0}, {"data", QJsonArray{}}} << true << "(none)";
        QTest::newRow("refused") << QJsonObject{{"ret", 3}} << false << "(none)";
        QTest::newRow("no result") << QJsonObject{{"data", QJsonObject{}}} << false << "(none)";
    }
    void domainAnswers() {
        QFETCH(QJsonObject, answer);
        QFETCH(bool, success);
        QFETCH(QString, userName);
        ClientFolder folder;
        folder.configure(m_server.httpPort());
        ClientWorld client(folder);
        QVERIFY2(
            m_server.fault(last(u"ad_auth"_s), {{"kind", "json"}, {"json", answer}}), qPrintable(m_server.lastError()));
        QSemaphore done;
        bool succeeded = !success;
        std::optional<QString> name;
        client.accounts.checkDomainAccount(
            u"lin"_s, u"corp.example"_s, [&](bool ok, std::optional<QString> user, const Error& error) {
                succeeded = ok && !error;
                name = user;
                done.release();
            });
        QVERIFY(done.tryAcquire(1, 8000));
        QCOMPARE(succeeded, success);
        QCOMPARE(name ? (name->isEmpty() ? u"(empty)"_s : *name) : u"(none)"_s, userName);
    }

    void policyArrivesUnsealed() {
        ClientFolder folder;
        folder.configure(m_server.httpPort());
        ClientWorld client(folder);
        Outcome policy;
        client.accounts.GetGeneralNGNPolicyRep(policy.completion());
        QVERIFY(policy.wait());
        QCOMPARE(policy.answer.value(u"code"), QJsonValue(0));
        QVERIFY(policy.answer.value(u"data").isObject() || policy.answer.value(u"data").isArray());
        QVERIFY(client.logText().contains(u"Get NGN Policy success with reponse:{"_s));
        Outcome config;
        client.front.GetgeneralConfig(config.completion());
        QVERIFY(config.wait());
        QVERIFY(config.answer.value(u"data").isObject());
    }

    void scanPollIsPlainJson() {
        ClientFolder folder;
        folder.configure(m_server.httpPort());
        ClientWorld client(folder);
        Outcome outcome;
        client.accounts.checkQRLoginState(1, outcome.completion());
        QVERIFY(outcome.wait());
        const QJsonArray requests = m_server.requests(last(u"scan_status"_s));
        const QJsonObject body = QJsonDocument::fromJson(ReferenceServer::bodyOf(requests.last().toObject())).object();
        QCOMPARE(keysOf(body), QStringList({"clientoper", "deviceid", "hostname", "mac", "soleid"}));
        QCOMPARE(body.value(u"clientoper"), QJsonValue(1));
    }

    void qrCodeIsReadByAnotherLibrary() {
        ClientFolder folder;
        folder.configure({QVariant(QVariantList{"10.0.0.8", 80}), QVariant(QVariantList{"10.0.0.8", 80}),
            QVariant(QVariantList{"10.0.0.8#portal#qen", 8443})});
        QVERIFY(archiveRootObject(u"0123456789abcdef"_s, folder.state(u"soleid.archive"_s)));
        ClientWorld client(folder);
        const QImage image = client.accounts.createQRForString(180);
        QCOMPARE(image.deviceIndependentSize(), QSizeF(180, 180));
        const QImage grey = image.convertToFormat(QImage::Format_Grayscale8);
        const ZXing::Result read = ZXing::ReadBarcode({grey.constBits(), grey.width(), grey.height(),
            ZXing::ImageFormat::Lum, static_cast<int>(grey.bytesPerLine())});
        QVERIFY(read.isValid());
        const QString text = QString::fromStdString(read.text());
        const QString prefix = u"https://10.0.0.8:8443/portal/qen/api/public/clientlogin/scan_login?v="_s;
        QVERIFY2(text.startsWith(prefix), qPrintable(text));
        const QString escaped = text.mid(prefix.size());
        // Every byte but letters and digits is escaped.
        QVERIFY(!escaped.contains(QRegularExpression(u"[^0-9A-Za-z%]"_s)));
        const auto fields = WireCodec::openRequest(QByteArray::fromPercentEncoding(escaped.toLatin1()));
        QVERIFY(fields);
        QCOMPARE(keysOf(*fields),
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
        QTest::newRow("intranet answers")
            << "good dead" << 0 << 0 << "QenCloud networktpye is Intranet URL:http://127.0.0.1:";
        QTest::newRow("extranet answers")
            << "dead good" << 1 << 1 << "QenCloud networktpye is Extranet URL:http://127.0.0.1:";
        QTest::newRow("neither") << "dead dead" << 0 << 2
                                 << "QenCloud networktpye is no network,The default is Intranet";
    }
    void networkChoice() {
        QFETCH(QString, servers);
        QFETCH(int, type);
        QFETCH(int, failedProbes);
        QFETCH(QString, line);
        ClientFolder folder;
        QVariantList pairs;
        for (const QString& kind : servers.split(u' '))
            pairs << QVariant(QVariantList{"127.0.0.1", kind == u"good" ? m_server.httpPort() : closedPort()});
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
        QVERIFY(client.logText().contains(line));
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
    static quint16 closedPort() {
        QTcpServer server;
        server.listen(QHostAddress::LocalHost);
        return server.serverPort();
    }

    static void send(ClientWorld& client, const QString& operation, Outcome& outcome) {
        AccountManager& accounts = client.accounts;
        const QJsonObject account{{"userid", "lin"}, {"password", "Passw0rd!"}, {"otp", ""}};
        if (operation == u"account_login") {
            accounts.PostResquestDicWithParamDic(account, outcome.completion());
        } else if (operation == u"account_login+otp") {
            accounts.PostResquestDicWithParamDic(
                {{"userid", "lin"}, {"password", "Passw0rd!"}, {"otp", "123456"}}, outcome.completion());
        } else if (operation == u"ticket_auth") {
            accounts.checkTicketState(u"T-1"_s, outcome.completion());
        } else if (operation == u"ad_auth") {
            accounts.checkDomainAccount(u"lin"_s, u"corp.example"_s,
                [complete = outcome.completion()](bool, const auto&, const Error& error) { complete({}, error); });
        } else if (operation == u"logout") {
            accounts.loginOut({{"userid", "lin"}, {"msg", "logout"}}, outcome.completion());
        } else if (operation == u"resetpass") {
            accounts.ResetPassword({{"userid", "lin"}, {"old_password", "a"}, {"password", "b"}}, outcome.completion());
        } else if (operation == u"retrieve_password") {
            accounts.retrievePassWord({{"user_id", "lin"}}, outcome.completion());
        } else if (operation == u"scan_status") {
            accounts.checkQRLoginState(0, outcome.completion());
        } else if (operation == u"start_config") {
            accounts.GeneralConfig(outcome.completion());
        } else {
            accounts.GetGeneralNGNPolicyRep(outcome.completion());
        }
    }

    ReferenceServer m_server;
};

QTEST_GUILESS_MAIN(tst_AccountManager)
#include "tst_AccountManager.moc"
