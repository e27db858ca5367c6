#include "Completion.h"
#include "LoopbackServer.h"
#include "VpnComponent.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

/// A folder with the file that tells the agent's port.
struct PortFile {
    explicit PortFile(const QByteArray& text) {
        QFile file(path);
        if (!text.isEmpty() && file.open(QIODevice::WriteOnly))
            file.write(text);
    }
    QTemporaryDir folder;
    const QString path = folder.filePath(u"vindor.port"_s);
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
        std::mutex mutex;
        QList<QByteArray> requests;
        // The agent answers each request with the next of its bodies.
        const LoopbackServer agent([&](LoopbackConnection& connection) {
            for (QByteArray request = connection.readRequest(); !request.isEmpty();
                 request = connection.readRequest()) {
                const std::lock_guard lock(mutex);
                requests << request;
                const QByteArray body = answers.isEmpty() ? QByteArray() : answers.takeFirst();
                if (body != "silence")
                    connection.write(LoopbackServer::ok(body));
            }
        });
        const PortFile file(QByteArray::number(agent.port()) + "\n");
        VindorClient client(file.path, 0.5);
        std::optional<AgentStop> stop;
        // Hops to this thread, which is the agent's as well.
        const Platform::Receiver receiver;
        client.accessAndStop(receiver.wrapped([&stop](const AgentStop& outcome) { stop = outcome; }));
        QTRY_VERIFY(stop);
        QCOMPARE(stop->access, access);
        QCOMPARE(stop->error.code(), error);
        const std::lock_guard lock(mutex);
        QVERIFY(requests.first().startsWith("POST /v1/access "));
        if (access == 0) {
            QVERIFY(requests.last().startsWith("POST /v1/smartagent/stop "));
            QVERIFY(requests.last().contains("Authorization: Bearer t-1\r\n"));
        }
    }

    void portFileMustBeThere() {
        for (const QByteArray& text : {QByteArray(), "0"_ba, "70000"_ba, "80@elsewhere"_ba}) {
            const PortFile file(text);
            VindorClient client(file.path);
            int access = 0;
            client.startRequestAccess([&](int status) { access = status; });
            QCOMPARE(access, AgentStop::NoAccess);
            qint64 code = 0;
            client.stopSmartAgent([&](const QJsonObject&, const Error& error) { code = error.code(); });
            QCOMPARE(code, Error::CannotConnect);
        }
    }
};

QTEST_GUILESS_MAIN(tst_VindorClient)
#include "tst_VindorClient.moc"
