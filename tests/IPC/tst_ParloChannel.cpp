#include "QenUIParloManager.h"
#include "UnixSocket.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

using Platform::UniqueFd;

namespace UnixSocket = Platform::UnixSocket;

namespace {

const QString Key = u"QenCloudUIIPCListeningKey"_s;
/// What a message or a reply may have besides its number.
constexpr qsizetype Longest = 128 * 1024 - 8;

class Echo final : public ParloServerDelegate {
public:
    QByteArray handleIPCReceiveData(const QByteArray& data, quint32 msgid) override {
        lastMessage = msgid;
        ++messages;
        return data;
    }
    std::atomic<quint32> lastMessage{0};
    std::atomic<int> messages{0};
};

/// An endpoint that echoes, in a folder of its own.
struct Echoing {
    QTemporaryDir folder;
    Echo echo;
    ParloServer server{echo, folder.path()};
    bool isListening = server.startListen(Key);

    UniqueFd connected() const {
        return UnixSocket::connectTo(folder.filePath(Key), {std::chrono::seconds(3), std::chrono::seconds(3)});
    }
};

QByteArray packet(qint64 number, const QByteArray& bytes = {}) {
    QByteArray header(8, 0);
    qToLittleEndian(number, header.data());
    return header + bytes;
}

bool sendPacket(const UniqueFd& socket, const QByteArray& bytes) {
    return ::send(socket.get(), bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL) == bytes.size();
}

/// True when the other end closes before @p limit.
bool isClosedByPeer(const UniqueFd& socket, int limit = 3000) {
    pollfd end{socket.get(), POLLIN, 0};
    char byte = 0;
    return poll(&end, 1, limit) > 0 && recv(socket.get(), &byte, 1, MSG_DONTWAIT) <= 0 && errno != EAGAIN;
}

/// The return code of a message that is sent to an endpoint of @p folder; NoReply brings no reply either.
qint64 codeOf(const ParloClient& client, const QByteArray& message = "a") {
    qint64 code = -5;
    const QByteArray reply = client.sendMessageWithName(Key, message, 1, &code);
    return reply.isNull() == (code == ParloClient::NoReply) ? code : -6;
}

/// Most memory that this process had so far, kilobytes.
long peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

class tst_ParloChannel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// First: later the process has needed more memory before.
    void aMessageCostsNoMoreThanItsBytes() {
        Echoing world;
        // Were they read as values, each would cost eighty times as much.
        const QByteArray maps = packet(1, QByteArray(Longest, '\xa0'));
        QByteArray reply(maps.size(), 0);
        const UniqueFd socket = world.connected();
        const long before = peakMemory();
        for (int i = 0; i < 8; ++i) {
            QVERIFY(sendPacket(socket, maps));
            QCOMPARE(recv(socket.get(), reply.data(), static_cast<size_t>(reply.size()), MSG_WAITALL), maps.size());
        }
        QCOMPARE(world.echo.messages.load(), 8);
        const long cost = peakMemory() - before;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        constexpr long Allowed = 4 * 4096; // what is freed is kept for a while, with notes beside it
#else
        constexpr long Allowed = 4096;
#endif
        QVERIFY2(cost < Allowed, qPrintable(QString::number(cost)));
    }

    void managerAnswersEveryMessageWithNothing() {
        QTemporaryDir folder;
        QenUIParloManager manager(folder.filePath(u"run"_s));
        manager.config();
        QVERIFY(manager.uiServer().startListen(Key)); // under the key that it has already
        QCOMPARE(QFileInfo(folder.filePath(u"run"_s)).permissions() & 0x0077, QFile::Permissions());
        QList<qint64> codes;
        for (const QString& key : {Key, u"nobody"_s})
            manager.sendMessageWithName(key, "message", 0xffffffffu, [&](qint64 code, const QByteArray& reply) {
                codes << code;
                QVERIFY(reply.isEmpty() && reply.isNull() == (key != Key));
            });
        QCOMPARE(codes, QList<qint64>({0, ParloClient::NoReply}));
    }

    void messagesTravelWhole() {
        Echoing world;
        QVERIFY(world.isListening);
        const ParloClient client(world.folder.path());
        for (const qsizetype size : {qsizetype(0), qsizetype(1000), Longest}) {
            qint64 code = -5;
            const QByteArray sent(size, 'x');
            QCOMPARE(client.sendMessageWithName(Key, sent, 0x80000001u, &code), sent);
            QCOMPARE(code, 0);
            QCOMPARE(world.echo.lastMessage.load(), 0x80000001u);
        }
        QCOMPARE(codeOf(client, QByteArray(Longest + 1, 'x')), ParloClient::NoReply);
        // A second endpoint under the same name is refused; after the first stopped it may have the name.
        ParloServer second(world.echo, world.folder.path());
        QVERIFY(!second.startListen(Key));
        world.server.stopListen(Key);
        QVERIFY(second.startListen(Key));
    }

    void nonsenseIsClosedAndOthersAreServed() {
        Echoing world;
        // No whole number, no identifier twice, and one that is too long.
        for (const QByteArray& bytes :
            {QByteArray(7, 0), packet(qint64(1) << 32), packet(-1), packet(1, QByteArray(Longest + 1, 'x'))}) {
            const UniqueFd socket = world.connected();
            QVERIFY(sendPacket(socket, bytes));
            QVERIFY(isClosedByPeer(socket));
            QCOMPARE(world.echo.messages.load(), 0);
        }
        QCOMPARE(codeOf(ParloClient(world.folder.path())), 0);
    }

    void silentPeersCostNobodyElse() {
        Echoing world;
        std::vector<UniqueFd> sockets;
        for (int i = 0; i < 20; ++i) {
            sockets.push_back(world.connected());
            QVERIFY(sockets.back().isOpen());
            // The first one speaks again and again.
            QVERIFY(sendPacket(sockets.front(), packet(1)));
            char reply[8];
            QCOMPARE(recv(sockets.front().get(), reply, sizeof reply, 0), ssize_t(8));
        }
        // Those that have been silent for longest have had to go.
        QVERIFY(!isClosedByPeer(sockets[0], 10));
        for (size_t i = 1; i < 5; ++i)
            QVERIFY(isClosedByPeer(sockets[i]));
        for (size_t i = 6; i < sockets.size(); ++i)
            QVERIFY(!isClosedByPeer(sockets[i], 10));
        QCOMPARE(codeOf(ParloClient(world.folder.path())), 0);
        // Ending does not wait for them.
        QElapsedTimer timer;
        timer.start();
        world.server.stopListen(Key);
        QVERIFY(timer.elapsed() < 1000);
    }

    void theUserCannotKeepRootOut() {
        if (geteuid() != 0)
            return; // only root can be two users
        constexpr uid_t User = 65534;
        Echoing world;
        world.server.stopListen(Key);
        QVERIFY(chown(qPrintable(world.folder.path()), User, User) == 0);
        QVERIFY(seteuid(User) == 0);
        const bool isListening = world.server.startListen(Key);
        std::vector<UniqueFd> sockets;
        const auto fill = [&] {
            for (int i = 0; i < 20; ++i)
                sockets.push_back(world.connected());
        };
        fill();
        QTest::qSleep(100);
        const bool isRootAgain = seteuid(0) == 0;
        const UniqueFd root = world.connected();
        QTest::qSleep(100);
        // The user's connections, which come after root's, take each other's places and not root's.
        const bool isUserAgain = seteuid(User) == 0;
        fill();
        QTest::qSleep(100);
        const bool isLeft = !isClosedByPeer(root, 10);
        const bool isHeard = sendPacket(root, packet(5)) && !isClosedByPeer(root, 1000);
        QVERIFY(seteuid(0) == 0);
        QVERIFY(isListening && isRootAgain && isUserAgain && root.isOpen());
        QVERIFY(isLeft && isHeard);
        QCOMPARE(world.echo.lastMessage.load(), 5u);
    }

    void deafEndpointCostsTheTimeOut_data() {
        QTest::addColumn<bool>("accepts");
        QTest::newRow("never replies") << true;
        QTest::newRow("never accepts") << false;
    }
    void deafEndpointCostsTheTimeOut() {
        QFETCH(bool, accepts);
        QTemporaryDir folder;
        const UniqueFd listening = UnixSocket::listenAt(folder.filePath(Key), accepts ? 4 : 0);
        QVERIFY(listening.isOpen());
        std::vector<UniqueFd> waiting;
        while (!accepts && waiting.size() < 10 && (waiting.empty() || waiting.back().isOpen()))
            waiting.push_back(UnixSocket::connectTo(folder.filePath(Key)));
        QVERIFY(accepts || !waiting.back().isOpen());
        ParloClient client(folder.path());
        accepts ? client.setReceiveTimeout(0.3) : client.setSendTimeout(0.3);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(codeOf(client), ParloClient::NoReply);
        QVERIFY(timer.elapsed() >= 290 && timer.elapsed() < 1500);
        // Nor does its name look free.
        Echo echo;
        QVERIFY(!ParloServer(echo, folder.path()).startListen(Key));
    }

    void brokenReplyIsNoSuccess() {
        QTemporaryDir folder;
        const UniqueFd listening = UnixSocket::listenAt(folder.filePath(Key), 4);
        QVERIFY(listening.isOpen());
        // Cut in its code, too long, and none.
        for (const QByteArray& bytes : {QByteArray(7, 0), packet(0, QByteArray(Longest + 1, 'x')), QByteArray()}) {
            std::thread answering([&] {
                pollfd polled{listening.get(), POLLIN, 0};
                poll(&polled, 1, 5000);
                const UniqueFd peer(accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
                char request[64];
                if (recv(peer.get(), request, sizeof request, 0) > 0 && !bytes.isEmpty())
                    sendPacket(peer, bytes);
            });
            const qint64 code = codeOf(ParloClient(folder.path()));
            answering.join();
            QCOMPARE(code, ParloClient::NoReply);
        }
    }

    void strangersAreRefused() {
        if (geteuid() != 0)
            return; // only root can become somebody else
        Echoing world;
        // A process of another user whose socket reached us all the same.
        QVERIFY(chmod(qPrintable(world.folder.path()), 0755) == 0);
        QVERIFY(chmod(qPrintable(world.folder.filePath(Key)), 0666) == 0);
        const pid_t child = fork();
        if (child == 0) {
            if (setuid(65534) != 0)
                _exit(3);
            // The other end is root, which the stranger trusts; it is the server that does not.
            const UniqueFd socket = world.connected();
            if (!socket.isOpen())
                _exit(4);
            sendPacket(socket, packet(9));
            _exit(isClosedByPeer(socket) ? 0 : 5);
        }
        int status = -1;
        QCOMPARE(waitpid(child, &status, 0), child);
        QCOMPARE(WEXITSTATUS(status), 0);
        QCOMPARE(world.echo.lastMessage.load(), 0u);
    }
};

QTEST_GUILESS_MAIN(tst_ParloChannel)
#include "tst_ParloChannel.moc"
