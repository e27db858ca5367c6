#include "iNacNetwork.h"

#include "Bundle.h"
#include "MavResources.h"
#include "NacWorld.h"
#include "WireCodec.h"

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

/// Answers every request and keeps what came.
struct Recorder {
    QByteArray answer;
    std::mutex mutex = {};
    QList<QByteArray> requests = {};
    QString clientName = {};

    LoopbackServer::Handler handler() {
        return [this](LoopbackConnection& connection) {
            for (QByteArray request = connection.readRequest(); !request.isEmpty();
                 request = connection.readRequest()) {
                {
                    const std::lock_guard lock(mutex);
                    requests.append(request);
                    clientName = connection.clientName();
                }
                connection.write(answer);
            }
        };
    }
    /// The first line of the only request; empty when there was none, or more than one.
    QByteArray line() {
        const std::lock_guard lock(mutex);
        return requests.size() == 1 ? requests[0].left(requests[0].indexOf("\r\n")) : QByteArray();
    }
};

/// What a completion received.
template <typename Answer>
struct Received {
    Answer answer;
    Error error;
    bool onMainThread = false;
    std::atomic<int> calls{0};

    auto completion() {
        return [this](const Answer& received, const Error& failure) {
            answer = received;
            error = failure;
            onMainThread = Platform::isMainThread();
            ++calls;
        };
    }
    bool wait() {
        return QTest::qWaitFor([this] { return calls == 1; }, 10000);
    }
};

} // namespace

class tst_iNacNetwork : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void generalConfig_data();
    void generalConfig();
    void certificateStatus();
    void certificateRequest();
    void contentType();
    void tls_data();
    void tls();
    void identities();
};

void tst_iNacNetwork::generalConfig_data() {
    QTest::addColumn<QString>("netType");
    QTest::addColumn<int>("domainPort");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("asked");
    QTest::addColumn<int>("errorCode");
    QTest::newRow("intranet") << "0" << 443 << 200 << "in" << 0;
    QTest::newRow("extranet") << "1" << 443 << 200 << "ex" << 0;
    QTest::newRow("no domain port") << "0" << 0 << 200 << "" << 1234;
    QTest::newRow("nothing configured") << QString() << 0 << 200 << "" << 1234;
    QTest::newRow("server fails") << "0" << 443 << 500 << "in" << -1011;
}

void tst_iNacNetwork::generalConfig() {
    QFETCH(QString, netType);
    QFETCH(int, status);
    Recorder intranet{.answer = LoopbackServer::ok(R"({"ret":0})").replace("200", QByteArray::number(status))};
    Recorder extranet{.answer = intranet.answer};
    const LoopbackServer inside(intranet.handler());
    const LoopbackServer outside(extranet.handler());
    NacWorld world;
    if (!netType.isNull()) {
        QFETCH(int, domainPort);
        QVariantList servers;
        for (const int port : {int(inside.port()), int(outside.port()), domainPort})
            servers << QVariant(QVariantList{u"127.0.0.1"_s, QString::number(port)});
        world.folder.configure(servers);
        QVERIFY(archiveRootObject(netType, world.folder.state(u"netType.archive"_s)));
    }
    Received<QJsonObject> outcome;
    world.network->requestGeneralConfig(outcome.completion());
    QVERIFY(outcome.wait() && outcome.onMainThread);
    QTEST(int(outcome.error.code()), "errorCode");
    QCOMPARE(outcome.answer.contains(u"ret"), !outcome.error);
    const QByteArray line = "GET /api/public/client/start_config HTTP/1.1";
    QTEST(QString(intranet.line() == line ? u"in"_s : QString()) + (extranet.line() == line ? u"ex"_s : QString()),
        "asked");
    QCOMPARE(world.logText().contains(u"Get Config faild with error:"_s), status == 500);
}

void tst_iNacNetwork::certificateStatus() {
    NacWorld world;
    Recorder recorder{.answer = LoopbackServer::ok(R"({"ret":0})")};
    const LoopbackServer server(recorder.handler());
    Received<QJsonObject> good;
    world.network->verifyCerWithSerialNumber(u"0A+1B"_s, server.url({}), good.completion());
    QVERIFY(good.wait() && !good.error && good.onMainThread && good.answer.contains(u"ret"));
    QCOMPARE(recorder.line(), "GET /api/inac/ca/checkstatus?serial=0A%2B1B HTTP/1.1");

    const LoopbackServer broken(LoopbackServer::always(LoopbackServer::ok("no json")));
    Received<QJsonObject> bad;
    world.network->verifyCerWithSerialNumber(u"1"_s, broken.url({}), bad.completion());
    QVERIFY(bad.wait());
    QCOMPARE(bad.error.code(), Error::NotJson);
    QVERIFY(world.logText().contains(u"Get VerifyCer response faild with error:"_s));
}

void tst_iNacNetwork::certificateRequest() {
    Recorder recorder{.answer = LoopbackServer::ok("raw \x01\xff")};
    const LoopbackServer server(recorder.handler());
    NacWorld world;
    const QJsonObject info{{"userid", "lin"}, {"ticket", "T-secret"}, {"os", 3}};
    Received<QByteArray> outcome;
    world.network->getInacCerWithInfo(info, server.url({}), outcome.completion());
    QVERIFY(outcome.wait() && !outcome.onMainThread);
    QCOMPARE(outcome.answer, QByteArray("raw \x01\xff"));
    QCOMPARE(recorder.line(), "POST /api/inac/ca/getcert HTTP/1.1");
    const QByteArray request = recorder.requests.first();
    QCOMPARE(WireCodec::openRequest(request.mid(request.indexOf("\r\n\r\n") + 4)), std::optional(info));
    const QString line = u"request Inac Cer with params:{\"os\":3,\"ticket\":\"***\",\"userid\":\"lin\"} url:"_s;
    QVERIFY2(world.logText().contains(line + server.url({})), qPrintable(world.logText()));
    QCOMPARE(world.network->createAFHTTPSessionMgr().requestTimeout(), 20.0);
    QCOMPARE(world.network->createAFHTTPSSessionMgr().requestTimeout(), 20.0);
    QTest::ignoreMessage(QtInfoMsg, "setSessionDidBecomeInvalidBlock");
    world.network.reset();
}

void tst_iNacNetwork::contentType() {
    for (const QByteArray& type :
        {"application/json"_ba, "text/plain; charset=utf-8"_ba, "application/octet-stream"_ba}) {
        const LoopbackServer server(LoopbackServer::always(LoopbackServer::ok("{}", "Content-Type: " + type + "\r\n")));
        NacWorld world;
        Received<QByteArray> outcome;
        world.network->getInacCerWithInfo({}, server.url({}), outcome.completion());
        QVERIFY(outcome.wait());
        QCOMPARE(int(outcome.error.code()), type.endsWith("stream") ? -1016 : 0);
    }
}

void tst_iNacNetwork::tls_data() {
    QTest::addColumn<bool>("secured");
    QTest::addColumn<QByteArray>("password");
    QTest::addColumn<bool>("asks");
    QTest::addColumn<QString>("clientName");
    QTest::newRow("presents on challenge") << true << QByteArray("482915") << true << "nac client";
    QTest::newRow("presents nothing unasked") << true << QByteArray("482915") << false << "";
    QTest::newRow("no file") << true << QByteArray() << true << "";
    QTest::newRow("other password") << true << QByteArray("000000") << true << "";
    QTest::newRow("plain manager has none") << false << QByteArray("482915") << true << "";
}

void tst_iNacNetwork::tls() {
    QFETCH(bool, secured);
    QFETCH(QByteArray, password);
    QFETCH(bool, asks);
    static const TestIdentity client = TestIdentity::make("nac client");
    static const TestIdentity expired = TestIdentity::make("expired server", 2048, true);
    const auto context = expired.serverContext(asks);
    Recorder recorder{.answer = LoopbackServer::ok("{}")};
    const LoopbackServer server(recorder.handler(), context.get());
    NacWorld world;
    if (!password.isEmpty())
        world.clientFile = client.pkcs12(password.constData());
    if (password == "000000")
        QTest::ignoreMessage(QtInfoMsg, "Failedwith error code -25264");
    Received<QByteArray> raw;
    Received<QJsonObject> parsed;
    if (secured)
        world.network->getInacCerWithInfo({}, server.url({}), raw.completion());
    else
        world.network->verifyCerWithSerialNumber(u"1"_s, server.url({}), parsed.completion());
    QVERIFY(secured ? raw.wait() : parsed.wait());
    QVERIFY2(!raw.error && !parsed.error, qPrintable(raw.error.logText()));
    QTEST(recorder.clientName, "clientName");
}

void tst_iNacNetwork::identities() {
    initMavResources();
    QFile file(Platform::resourcePath(u"client"_s, u"p12"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bundled = file.readAll();
    Platform::ClientIdentity identity;
    QList<QByteArray> trust;
    QTest::ignoreMessage(QtInfoMsg, "Failedwith error code -26275");
    QVERIFY(!iNacNetwork::extractIdentity(&identity, &trust, bundled.left(bundled.size() / 2), u"482915"_s));
    QVERIFY(trust.isEmpty() && identity.pkcs12.isEmpty());
    QVERIFY(iNacNetwork::extractIdentity(&identity, &trust, bundled, u"482915"_s));
    QCOMPARE(trust.size(), 1);
    QCOMPARE(identity.pkcs12, bundled);
}

QTEST_GUILESS_MAIN(tst_iNacNetwork)
#include "tst_iNacNetwork.moc"
