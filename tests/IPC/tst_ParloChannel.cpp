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

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

using Platform::UniqueFd;

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
        QVERIFY(manager.uiServer().startListen(Key)); // under the key that it has already
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
        UniqueFd socket = ParloSocket::connectTo(folder.path(), Key, soon());
        QVERIFY(socket.isOpen());
        QVERIFY(ParloSocket::writeAll(socket.get(), bytes, soon()));
        QVERIFY(isClosedByPeer(socket.get()));
        socket.close();
        qint64 code = -5;
        ParloClient(folder.path()).sendMessageWithName(Key, 1, 1, &code);
        QCOMPARE(code, 0);
    }

    void silentPeersCostNobodyElse() {
        QTemporaryDir folder;
        Echo echo;
        ParloServer server(echo, folder.path());
        QVERIFY(server.startListen(Key));
        std::vector<UniqueFd> sockets;
        for (int i = 0; i < 20; ++i) {
            sockets.push_back(ParloSocket::connectTo(folder.path(), Key, soon()));
            QVERIFY(ParloSocket::writeAll(sockets.back().get(), QByteArray("\x10\x00", 2), soon()));
        }
        // The first ones have had to go; the last ones are still listened to.
        for (size_t i = 0; i < 4; ++i)
            QVERIFY(isClosedByPeer(sockets[i].get()));
        for (size_t i = 6; i < sockets.size(); ++i)
            QVERIFY(!isClosedByPeer(sockets[i].get(), 10));
        qint64 code = -5;
        ParloClient(folder.path()).sendMessageWithName(Key, 1, 1, &code);
        QCOMPARE(code, 0);
        // Ending does not wait for them.
        QElapsedTimer timer;
        timer.start();
        server.stopListen(Key);
        QVERIFY(timer.elapsed() < 1000);
    }

    void peerThatNeverRepliesCostsTheTimeOut() {
        QTemporaryDir folder;
        const UniqueFd listening = ParloSocket::listenAt(folder.path(), Key);
        QVERIFY(listening.isOpen());
        ParloClient client(folder.path());
        client.setReceiveTimeout(0.3);
        QElapsedTimer timer;
        timer.start();
        qint64 code = 0;
        QVERIFY(client.sendMessageWithName(Key, 1, 1, &code).isUndefined());
        QCOMPARE(code, ParloClient::NoReply);
        QVERIFY(timer.elapsed() >= 290 && timer.elapsed() < 1500);
    }

    void brokenReplyIsNoSuccess_data() {
        QTest::addColumn<QByteArray>("bytes");
        // A map of two entries, of which only the code came.
        QTest::newRow("cut CBOR") << QByteArray("\x06\x00\x00\x00\xa2\x63ret\x00", 10);
        QTest::newRow("too long") << QByteArray("\xff\xff\xff\x7f", 4);
        QTest::newRow("no code") << *ParloFrame::encoded(QCborMap{{ParloKeys::Reply, 1}});
        QTest::newRow("code as text") << *ParloFrame::encoded(QCborMap{{ParloKeys::ReturnCode, "0"}});
        QTest::newRow("half a frame, then the end") << QByteArray("\x06\x00\x00\x00\xa1", 5);
    }
    void brokenReplyIsNoSuccess() {
        QFETCH(QByteArray, bytes);
        QTemporaryDir folder;
        const UniqueFd listening = ParloSocket::listenAt(folder.path(), Key);
        QVERIFY(listening.isOpen());
        std::thread answering([&] {
            pollfd polled{listening.get(), POLLIN, 0};
            poll(&polled, 1, 5000);
            const UniqueFd peer(accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            QByteArray request;
            ParloSocket::readSome(peer.get(), request, soon());
            ParloSocket::writeAll(peer.get(), bytes, soon());
        });
        qint64 code = 0;
        const QCborValue reply = ParloClient(folder.path()).sendMessageWithName(Key, 1, 1, &code);
        answering.join();
        QVERIFY(reply.isUndefined());
        QCOMPARE(code, ParloClient::NoReply);
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
            const UniqueFd socket = ParloSocket::connectTo(folder.path(), Key, soon());
            const QByteArray frame = *ParloFrame::encoded(QCborMap{{ParloKeys::MessageId, 9}});
            if (!socket.isOpen())
                _exit(4);
            ParloSocket::writeAll(socket.get(), frame, soon());
            _exit(isClosedByPeer(socket.get()) ? 0 : 5);
        }
        int status = -1;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(WEXITSTATUS(status), 0);
        QCOMPARE(echo.lastMessage.load(), 0u);
    }
};

QTEST_GUILESS_MAIN(tst_ParloChannel)
#include "tst_ParloChannel.moc"
