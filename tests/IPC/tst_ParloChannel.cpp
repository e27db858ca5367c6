#include "ParloFrame.h"
#include "ParloKeys.h"
#include "ParloSocket.h"
#include "QenUIParloManager.h"

#include <QCborMap>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const QString Key = u"QenCloudUIIPCListeningKey"_s;

ParloSocket::Deadline soon(int milliseconds = 3000) {
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

class Echo final : public ParloServerDelegate {
public:
    QCborValue handleIPCReceiveData(const QCborValue& data, quint32 msgid) override {
        lastMessage = msgid;
        return data;
    }
    std::atomic<quint32> lastMessage{0};
};

/// True when the other end closes before @p limit.
bool isClosedByPeer(int socket, int limit = 3000) {
    QByteArray received;
    while (ParloSocket::readSome(socket, received, soon(limit))) {
    }
    char byte = 0;
    return recv(socket, &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
}

} // namespace

class tst_ParloChannel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void managerAnswersEveryMessageWithNothing() {
        QTemporaryDir folder;
        QenUIParloManager manager(folder.filePath(u"run"_s));
        manager.config();
        QCOMPARE(QFileInfo(folder.filePath(u"run"_s)).permissions() & 0x0077, QFile::Permissions());
        for (const quint32 msgid : {0u, 7u, 0xffffffffu}) {
            int calls = 0;
            manager.sendMessageWithName(Key, QCborMap{{"a", 1}}, msgid, [&](qint64 code, const QCborValue& reply) {
                ++calls;
                QCOMPARE(code, 0);
                QVERIFY(reply.isNull());
            });
            QCOMPARE(calls, 1);
        }
        int calls = 0;
        manager.sendMessageWithName(u"nobody"_s, {}, 1, [&](qint64 code, const QCborValue& reply) {
            ++calls;
            QCOMPARE(code, ParloClient::NoReply);
            QVERIFY(reply.isUndefined());
        });
        QCOMPARE(calls, 1);
    }

    void messagesTravelWhole() {
        QTemporaryDir folder;
        Echo echo;
        ParloServer server(echo, folder.path());
        QVERIFY(server.startListen(Key));
        const ParloClient client(folder.path());
        for (const qsizetype size : {qsizetype(0), qsizetype(1000), qsizetype(900'000)}) {
            qint64 code = -5;
            const QCborValue sent(QByteArray(size, 'x'));
            QCOMPARE(client.sendMessageWithName(Key, sent, 0x80000001u, &code), sent);
            QCOMPARE(code, 0);
            QCOMPARE(echo.lastMessage.load(), 0x80000001u);
        }
        qint64 code = 0;
        QVERIFY(client.sendMessageWithName(Key, QByteArray(2 << 20, 'x'), 1, &code).isUndefined());
        QCOMPARE(code, ParloClient::NoReply);
        // A second endpoint under the same name is refused; after the first stopped it may have the name.
        ParloServer second(echo, folder.path());
        QVERIFY(!second.startListen(Key));
        server.stopListen(Key);
        QVERIFY(second.startListen(Key));
    }

    void nonsenseIsClosedAndOthersAreServed_data() {
        QTest::addColumn<QByteArray>("bytes");
        QByteArray tooLong(4, 0);
        qToLittleEndian(quint32(0x7fffffff), tooLong.data());
        QTest::newRow("length beyond the limit") << tooLong;
        QTest::newRow("no CBOR") << QByteArray("\x03\x00\x00\x00\xff\xff\xff", 7);
        QTest::newRow("no message") << *ParloFrame::encoded(QCborValue(7));
        QTest::newRow("empty frame") << QByteArray(4, 0);
        QTest::newRow("deep nesting") << QByteArray("\x88\x13\x00\x00", 4) + QByteArray(5000, '\x81');
    }
    void nonsenseIsClosedAndOthersAreServed() {
        QFETCH(QByteArray, bytes);
        QTemporaryDir folder;
        Echo echo;
        ParloServer server(echo, folder.path());
        QVERIFY(server.startListen(Key));
        const int socket = ParloSocket::connectTo(folder.path(), Key, soon());
        QVERIFY(socket >= 0);
        QVERIFY(ParloSocket::writeAll(socket, bytes, soon()));
        QVERIFY(isClosedByPeer(socket));
        close(socket);
        qint64 code = -5;
        ParloClient(folder.path()).sendMessageWithName(Key, 1, 1, &code);
        QCOMPARE(code, 0);
    }

    void silentPeersCostNobodyElse() {
        QTemporaryDir folder;
        Echo echo;
        ParloServer server(echo, folder.path());
        QVERIFY(server.startListen(Key));
        QList<int> sockets;
        for (int i = 0; i < 10; ++i) {
            sockets << ParloSocket::connectTo(folder.path(), Key, soon());
            QVERIFY(ParloSocket::writeAll(sockets.last(), QByteArray("\x10\x00", 2), soon()));
        }
        qint64 code = -5;
        ParloClient(folder.path()).sendMessageWithName(Key, 1, 1, &code);
        QCOMPARE(code, 0);
        // Ending does not wait for them.
        QElapsedTimer timer;
        timer.start();
        server.stopListen(Key);
        QVERIFY(timer.elapsed() < 1000);
        for (const int socket : sockets)
            close(socket);
    }

    void peerThatNeverRepliesCostsTheTimeOut() {
        QTemporaryDir folder;
        const int listening = ParloSocket::listenAt(folder.path(), Key);
        QVERIFY(listening >= 0);
        ParloClient client(folder.path());
        client.setReceiveTimeout(0.3);
        QElapsedTimer timer;
        timer.start();
        qint64 code = 0;
        QVERIFY(client.sendMessageWithName(Key, 1, 1, &code).isUndefined());
        QCOMPARE(code, ParloClient::NoReply);
        QVERIFY(timer.elapsed() >= 290 && timer.elapsed() < 1500);
        close(listening);
    }

    void strangersAreRefused() {
        if (geteuid() != 0)
            return; // only root can become somebody else
        QTemporaryDir folder;
        Echo echo;
        ParloServer server(echo, folder.path());
        QVERIFY(server.startListen(Key));
        // A process of another user whose socket reached us all the same.
        QVERIFY(chmod(qPrintable(folder.path()), 0755) == 0);
        QVERIFY(chmod(qPrintable(folder.filePath(Key)), 0666) == 0);
        const pid_t child = fork();
        if (child == 0) {
            if (setuid(65534) != 0)
                _exit(3);
            // The other end is root, which the stranger trusts; it is the server that does not.
            const int socket = ParloSocket::connectTo(folder.path(), Key, soon());
            const QByteArray frame = *ParloFrame::encoded(QCborMap{{ParloKeys::MessageId, 9}});
            if (socket < 0)
                _exit(4);
            ParloSocket::writeAll(socket, frame, soon());
            _exit(isClosedByPeer(socket) ? 0 : 5);
        }
        int status = -1;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(WEXITSTATUS(status), 0);
        QCOMPARE(echo.lastMessage.load(), 0u);
    }
};

QTEST_GUILESS_MAIN(tst_ParloChannel)
#include "tst_ParloChannel.moc"
