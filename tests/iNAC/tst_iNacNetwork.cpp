#include "iNacNetwork.h"

#include "Bundle.h"
#include "MavResources.h"
#include "NacWorld.h"
#include "WireCodec.h"

#include <QFile>
#include <QTest>

using Platform::Error;

namespace {

const QByteArray ConfigLine = "GET /api/public/client/start_config HTTP/1.1";

/// Answers every request and keeps what came.
class Recorder {
public:
    explicit Recorder(QByteArray answer) : m_answer(std::move(answer)) {}
    LoopbackServer::Handler handler() {
        return [this](LoopbackConnection& connection) {
            for (QByteArray request = connection.readRequest(); !request.isEmpty();
                 request = connection.readRequest()) {
                {
                    const std::lock_guard lock(m_mutex);
                    m_requests.append(request);
                    m_clientName = connection.clientName();
                }
                connection.write(m_answer);
            }
        };
    }
    QList<QByteArray> requests() {
        const std::lock_guard lock(m_mutex);
        return m_requests;
    }
    QString clientName() {
        const std::lock_guard lock(m_mutex);
        return m_clientName;
    }
    /// Request lines, without the rest.
    QList<QByteArray> lines() {
        QList<QByteArray> result;
        for (const QByteArray& request : requests())
            result.append(request.left(request.indexOf("\r\n")));
        return result;
    }

private:
    const QByteArray m_answer;
    std::mutex m_mutex;
    QList<QByteArray> m_requests;
    QString m_clientName;
};

/// What a completion received.
template <typename Answer>
struct Outcome {
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
        return QTest::qWaitFor([this] { return calls > 0; }, 10000);
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
    void contentType_data();
    void contentType();
    void tls_data();
    void tls();
    void unusableIdentity_data();
    void unusableIdentity();
    void bundledIdentityOpens();
    void timeoutIsSetOnEveryCall();
    void endedSessionIsNoted();
};

void tst_iNacNetwork::generalConfig_data() {
    QTest::addColumn<QString>("netType");
    QTest::addColumn<bool>("hasDomain");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("intranetRequests");
    QTest::addColumn<int>("extranetRequests");
    QTest::addColumn<int>("errorCode");
    QTest::newRow("intranet") << "0" << true << 200 << 1 << 0 << 0;
    QTest::newRow("extranet") << "1" << true << 200 << 0 << 1 << 0;
    QTest::newRow("no domain port") << "0" << false << 200 << 0 << 0 << 1234;
    QTest::newRow("server fails") << "0" << true << 500 << 1 << 0 << -1011;
    QTest::newRow("nothing configured") << QString() << false << 200 << 0 << 0 << 1234;
}

void tst_iNacNetwork::generalConfig() {
    QFETCH(QString, netType);
    QFETCH(bool, hasDomain);
    QFETCH(int, status);
    const QByteArray answer = status == 200 ? LoopbackServer::ok(R"({"ret":0,"data":"sealed"})")
                                            : QByteArray("HTTP/1.1 500 Broken\r\nContent-Length: 0\r\n\r\n");
    Recorder intranet(answer);
    Recorder extranet(answer);
    const LoopbackServer inside(intranet.handler());
    const LoopbackServer outside(extranet.handler());
    NacWorld world;
    if (!netType.isNull()) {
        world.configure(
            {NacWorld::server(inside.port()), NacWorld::server(outside.port()), NacWorld::server(hasDomain ? 443 : 0)});
        QVERIFY(archiveRootObject(netType, world.stateFile(QStringLiteral("netType.archive"))));
    }

    Outcome<QJsonObject> outcome;
    world.network->requestGeneralConfig(outcome.completion());
    QVERIFY(outcome.wait());
    QCOMPARE(outcome.calls.load(), 1);
    QVERIFY(outcome.onMainThread);
    QTEST(int(outcome.error.code()), "errorCode");
    QCOMPARE(outcome.answer.value(u"data").toString(), outcome.error ? QString() : QStringLiteral("sealed"));
    QTEST(int(intranet.requests().size()), "intranetRequests");
    QTEST(int(extranet.requests().size()), "extranetRequests");
    for (const QByteArray& line : intranet.lines() + extranet.lines())
        QCOMPARE(line, ConfigLine);
    QCOMPARE(world.logText().contains(QStringLiteral("Get Config faild with error:")), status == 500);
}

void tst_iNacNetwork::certificateStatus() {
    Recorder recorder(LoopbackServer::ok(R"({"ret":0})"));
    const LoopbackServer server(recorder.handler());
    NacWorld world;
    Outcome<QJsonObject> good;
    world.network->verifyCerWithSerialNumber(QStringLiteral("0A+1B"), server.url({}), good.completion());
    QVERIFY(good.wait());
    QVERIFY(!good.error);
    QVERIFY(good.onMainThread);
    QCOMPARE(good.answer.value(u"ret").toInt(-1), 0);
    QCOMPARE(recorder.lines(), QList<QByteArray>{"GET /api/inac/ca/checkstatus?serial=0A%2B1B HTTP/1.1"});

    const LoopbackServer broken(LoopbackServer::always(LoopbackServer::ok("no json")));
    Outcome<QJsonObject> bad;
    world.network->verifyCerWithSerialNumber(QStringLiteral("1"), broken.url({}), bad.completion());
    QVERIFY(bad.wait());
    QCOMPARE(bad.error.code(), Error::NotJson);
    QVERIFY(world.logText().contains(QStringLiteral("Get VerifyCer response faild with error:")));
}

void tst_iNacNetwork::certificateRequest() {
    Recorder recorder(LoopbackServer::ok("raw \x01\xff"));
    const LoopbackServer server(recorder.handler());
    NacWorld world;
    const QJsonObject info{{"userid", "lin"}, {"ticket", "T-secret"}, {"os", 3}};
    Outcome<QByteArray> outcome;
    world.network->getInacCerWithInfo(info, server.url({}), outcome.completion());
    QVERIFY(outcome.wait());
    QCOMPARE(outcome.answer, QByteArray("raw \x01\xff"));
    QVERIFY(!outcome.onMainThread);
    QCOMPARE(recorder.lines(), QList<QByteArray>{"POST /api/inac/ca/getcert HTTP/1.1"});
    const QByteArray request = recorder.requests().first();
    QCOMPARE(WireCodec::openRequest(request.mid(request.indexOf("\r\n\r\n") + 4)), std::optional(info));
    const QString log = world.logText();
    QVERIFY2(log.contains(
                 QStringLiteral("request Inac Cer with params:{\"os\":3,\"ticket\":\"***\",\"userid\":\"lin\"} url:") +
                 server.url({})),
             qPrintable(log));
}

void tst_iNacNetwork::contentType_data() {
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<int>("errorCode");
    for (const char* type :
         {"application/json", "text/json", "text/javascript", "text/html", "text/plain; charset=utf-8"})
        QTest::newRow(type) << QByteArray(type) << 0;
    QTest::newRow("bytes") << QByteArray("application/octet-stream") << -1016;
}

void tst_iNacNetwork::contentType() {
    QFETCH(QByteArray, type);
    const LoopbackServer server(LoopbackServer::always(LoopbackServer::ok("{}", "Content-Type: " + type + "\r\n")));
    NacWorld world;
    Outcome<QByteArray> outcome;
    world.network->getInacCerWithInfo({}, server.url({}), outcome.completion());
    QVERIFY(outcome.wait());
    QTEST(int(outcome.error.code()), "errorCode");
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
    Recorder recorder(LoopbackServer::ok("{}"));
    const LoopbackServer server(recorder.handler(), context.get());
    NacWorld world;
    if (!password.isEmpty())
        world.clientFile = client.pkcs12(password.constData());
    if (password == "000000")
        QTest::ignoreMessage(QtInfoMsg, "Failedwith error code -25264");
    if (secured) {
        Outcome<QByteArray> outcome;
        world.network->getInacCerWithInfo({}, server.url({}), outcome.completion());
        QVERIFY(outcome.wait());
        QVERIFY2(!outcome.error, qPrintable(outcome.error.logText()));
    } else {
        Outcome<QJsonObject> outcome;
        world.network->verifyCerWithSerialNumber(QStringLiteral("1"), server.url({}), outcome.completion());
        QVERIFY(outcome.wait());
        QVERIFY2(!outcome.error, qPrintable(outcome.error.logText()));
    }
    QTEST(recorder.clientName(), "clientName");
}

void tst_iNacNetwork::unusableIdentity_data() {
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("status");
    const QByteArray file = TestIdentity::make("me").pkcs12("482915");
    QTest::newRow("wrong password") << file << "482916" << -25264;
    QTest::newRow("cut off") << file.left(file.size() / 2) << "482915" << -26275;
    QTest::newRow("empty") << QByteArray() << "482915" << -26275;
}

void tst_iNacNetwork::unusableIdentity() {
    QFETCH(QByteArray, file);
    QFETCH(QString, password);
    QFETCH(int, status);
    QTest::ignoreMessage(QtInfoMsg, qPrintable(QStringLiteral("Failedwith error code %1").arg(status)));
    Platform::ClientIdentity identity;
    QList<QByteArray> trust;
    QVERIFY(!iNacNetwork::extractIdentity(&identity, &trust, file, password));
    QVERIFY(trust.isEmpty() && identity.pkcs12.isEmpty());
}

void tst_iNacNetwork::bundledIdentityOpens() {
    initMavResources();
    QFile file(Platform::resourcePath(QStringLiteral("client"), QStringLiteral("p12")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    Platform::ClientIdentity identity;
    QList<QByteArray> trust;
    QVERIFY(iNacNetwork::extractIdentity(&identity, &trust, file.readAll(), QStringLiteral("482915")));
    QCOMPARE(trust.size(), 1);
    QVERIFY(!identity.pkcs12.isEmpty());
    QVERIFY(!Platform::resourcePath(QStringLiteral("RTMDMNetwork"), QStringLiteral("mobileconfig")).isEmpty());
}

void tst_iNacNetwork::timeoutIsSetOnEveryCall() {
    NacWorld world;
    world.network->createAFHTTPSessionMgr().setRequestTimeout(1);
    QCOMPARE(world.network->createAFHTTPSessionMgr().requestTimeout(), 20.0);
    QCOMPARE(world.network->createAFHTTPSSessionMgr().requestTimeout(), 20.0);
}

void tst_iNacNetwork::endedSessionIsNoted() {
    NacWorld world;
    world.network->createAFHTTPSSessionMgr();
    QTest::ignoreMessage(QtInfoMsg, "setSessionDidBecomeInvalidBlock");
    world.network.reset();
}

QTEST_GUILESS_MAIN(tst_iNacNetwork)
#include "tst_iNacNetwork.moc"
