#include "HttpOutcome.h"

#include <QCoreApplication>
#include <QProcess>

#include <cstdlib>
#include <cstring>

using namespace Qt::StringLiterals;

using Platform::ClientIdentity;
using Platform::Error;
using Platform::HttpSession;

namespace {

/// The process ends in the middle of everything; reaching its end unharmed is the test.
int exitWhileBusy(const QString& url, int milliseconds) {
    static HttpSession session({.acceptAnyServerCertificate = true});
    static std::function<void()> again = [url] {
        session.getJson(url, {}, [](const QJsonObject&, const Error& error) {
            if (error.code() != Error::Cancelled)
                again();
        });
    };
    for (int i = 0; i < 4; ++i)
        again();
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    std::exit(0);
}

} // namespace

class tst_HttpTls : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void serverCertificate();
    void secretIsNotRedirectedIntoTheOpen();
    void clientCertificate();
    void exitUnderWay();
};

void tst_HttpTls::serverCertificate() {
    const TestIdentity identities[] = {TestIdentity::make("elsewhere.test"),
        TestIdentity::make("localhost", 2048, true), TestIdentity::make("localhost", 1024)};
    HttpSession strict;
    HttpSession lenient({.acceptAnyServerCertificate = true});
    for (const TestIdentity& identity : identities) {
        const auto tls = identity.serverContext();
        LoopbackServer server(LoopbackServer::always(Success), tls.get());
        QCOMPARE(get(strict, server.url())->error.code(), Error::SecureConnectionFailed);
        QCOMPARE(get(lenient, server.url())->object, SuccessObject);
        // What one session trusts is nothing to the other.
        QCOMPARE(get(strict, server.url())->error.code(), Error::SecureConnectionFailed);
    }
}

void tst_HttpTls::secretIsNotRedirectedIntoTheOpen() {
    const auto identity = TestIdentity::make("localhost");
    const auto tls = identity.serverContext();
    LoopbackServer open(LoopbackServer::always(Success));
    LoopbackServer secret(LoopbackServer::always(
                              "HTTP/1.1 307 X\r\nContent-Length: 0\r\nLocation: " + open.url().toLatin1() + "\r\n\r\n"),
        tls.get());
    LoopbackServer entry(LoopbackServer::always(
        "HTTP/1.1 307 X\r\nContent-Length: 0\r\nLocation: " + secret.url().toLatin1() + "\r\n\r\n"));
    HttpSession session({.acceptAnyServerCertificate = true});
    for (const QString& url : {secret.url(), entry.url()}) {
        const auto outcome = get(session, url);
        QCOMPARE(outcome->error.code(), Error::BadServerResponse);
        QCOMPARE(outcome->error.localizedFailureReason(), u"HTTP status 307 X"_s);
    }
    QCOMPARE(open.accepted(), 0);
}

void tst_HttpTls::clientCertificate() {
    const TestIdentity serverIdentity = TestIdentity::make("localhost");
    const QByteArray file = TestIdentity::make("device").pkcs12("482915");
    for (const auto& [isWanted, isWhole] : {std::pair{true, true}, {true, false}, {false, true}}) {
        const auto tls = serverIdentity.serverContext(isWanted);
        LoopbackServer server(
            [](LoopbackConnection& connection) {
                while (!connection.readRequest().isEmpty())
                    connection.write(LoopbackServer::ok("{\"name\":\"" + connection.clientName().toUtf8() + "\"}"));
            },
            tls.get());
        std::atomic<int> asked{0};
        HttpSession session({.acceptAnyServerCertificate = true, .clientIdentity = [&, isWhole = isWhole] {
                                 ++asked;
                                 return ClientIdentity{file.left(file.size() / (isWhole ? 1 : 2)), u"482915"_s};
                             }});
        for (int i = 0; i < 3; ++i)
            QCOMPARE(get(session, server.url())->object, QJsonObject({{"name", isWanted && isWhole ? "device" : ""}}));
        QCOMPARE(asked.load(), isWanted ? 1 : 0);
        // A session without an identity does not borrow this one's connection.
        HttpSession other({.acceptAnyServerCertificate = true});
        QCOMPARE(get(other, server.url())->object, QJsonObject({{"name", ""}}));
    }
}

void tst_HttpTls::exitUnderWay() {
    const auto tls = TestIdentity::make("localhost").serverContext();
    // Closing after each answer keeps the client in handshakes, where the TLS library's own state is in use all the
    // time.
    LoopbackServer server(
        [](LoopbackConnection& connection) {
            connection.readRequest();
            connection.write(Success);
        },
        tls.get());
    // At first in the middle of the libraries' own beginning.
    for (const int after : {0, 2, 4, 6, 8, 10, 15, 20, 60, 60, 60, 60}) {
        QProcess child;
        child.start(
            QCoreApplication::applicationFilePath(), {u"--exit-while-busy"_s, server.url(), QString::number(after)});
        QVERIFY(child.waitForFinished(Soon));
        QCOMPARE(child.exitStatus(), QProcess::NormalExit);
        QCOMPARE(child.exitCode(), 0);
    }
    QVERIFY(server.accepted() > 10);
}

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc > 3 && std::strcmp(argv[1], "--exit-while-busy") == 0)
        return exitWhileBusy(QString::fromUtf8(argv[2]), std::atoi(argv[3]));
    tst_HttpTls test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_HttpTls.moc"
