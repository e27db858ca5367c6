#include "Completion.h"
#include "VpnComponent.h"

#include <QFile>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

/// The agent's side: answers each request with the next of its bodies and keeps what it was asked.
class Agent : public QObject {
public:
    explicit Agent(QList<QByteArray> answers) : m_answers(std::move(answers)) {
        server.listen(QHostAddress::LocalHost);
        connect(&server, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        });
    }
    QTcpServer server;
    QList<QByteArray> requests;

private:
    void answer(QTcpSocket* socket) {
        const QByteArray request = socket->readAll();
        if (!request.contains("\r\n\r\n"))
            return;
        requests << request;
        const QByteArray body = m_answers.isEmpty() ? QByteArray() : m_answers.takeFirst();
        if (body == "silence")
            return;
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    }
    QList<QByteArray> m_answers;
};

} // namespace

class tst_VindorClient : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void accessThenStop_data() {
        QTest::addColumn<QList<QByteArray>>("answers");
        QTest::addColumn<int>("access");
        QTest::addColumn<qint64>("error");
        using Answers = QList<QByteArray>;
        QTest::newRow("granted") << Answers{R"({"code":0,"token":"t-1"})", R"({"code":0})"} << 0 << qint64(0);
        QTest::newRow("refused") << Answers{R"({"code":3})"} << 3 << qint64(0);
        QTest::newRow("no token") << Answers{R"({"code":0})"} << -1 << qint64(0);
        QTest::newRow("no code") << Answers{R"({"token":"t"})"} << -1 << qint64(0);
        QTest::newRow("nonsense") << Answers{"hello"} << -1 << qint64(0);
        QTest::newRow("silence") << Answers{"silence"} << -1 << qint64(0);
        QTest::newRow("stop is nonsense") << Answers{R"({"code":0,"token":"t-1"})", "hello"} << 0 << Error::NotJson;
        QTest::newRow("stop is silent") << Answers{R"({"code":0,"token":"t-1"})", "silence"} << 0 << Error::TimedOut;
    }
    void accessThenStop() {
        QFETCH(QList<QByteArray>, answers);
        QFETCH(int, access);
        QFETCH(qint64, error);
        Agent agent(answers);
        QTemporaryDir folder;
        const QString portFile = folder.filePath(u"vindor.port"_s);
        QFile file(portFile);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray::number(agent.server.serverPort()) + "\n");
        file.close();
        VindorClient client(portFile, 0.5);
        std::optional<AgentStop> stop;
        // Hops to this thread, which is the agent's as well.
        const Platform::Receiver receiver;
        client.accessAndStop(receiver.wrapped([&stop](const AgentStop& outcome) { stop = outcome; }));
        QTRY_VERIFY(stop);
        QCOMPARE(stop->access, access);
        QCOMPARE(stop->error.code(), error);
        QVERIFY(agent.requests.first().startsWith("POST /v1/access "));
        if (access == 0) {
            QVERIFY(agent.requests.last().startsWith("POST /v1/smartagent/stop "));
            QVERIFY(agent.requests.last().contains("Authorization: Bearer t-1\r\n"));
        }
    }

    void portFileMustBeThere_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("missing") << QByteArray();
        QTest::newRow("zero") << QByteArray("0");
        QTest::newRow("too large") << QByteArray("70000");
        QTest::newRow("no number") << QByteArray("80@elsewhere");
    }
    void portFileMustBeThere() {
        QFETCH(QByteArray, text);
        QTemporaryDir folder;
        const QString portFile = folder.filePath(u"vindor.port"_s);
        if (!text.isEmpty()) {
            QFile file(portFile);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(text);
        }
        VindorClient client(portFile);
        int access = 0;
        client.startRequestAccess([&](int status) { access = status; });
        QCOMPARE(access, AgentStop::NoAccess);
        qint64 code = 0;
        client.stopSmartAgent([&](const QJsonObject&, const Error& error) { code = error.code(); });
        QCOMPARE(code, Error::CannotConnect);
    }
};

QTEST_GUILESS_MAIN(tst_VindorClient)
#include "tst_VindorClient.moc"
