// The message channel to the agent, both ends, in front of a peer that sends any packets: an endpoint that has met one
// still answers the next.

#include "Fuzzing.h"
#include "ParloChannel.h"
#include "UnixSocket.h"

#include <QtEndian>

#include <poll.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace UnixSocket = Platform::UnixSocket;

namespace {

constexpr double Seconds = 5;

class Echo final : public ParloServerDelegate {
public:
    QByteArray handleIPCReceiveData(const QByteArray& data, quint32 msgid) override {
        return QByteArray::number(msgid) + data;
    }
};

/// A packet a part; one that begins with "#" is that many bytes long.
QByteArray packet(const QByteArray& part) {
    return part.startsWith('#') ? QByteArray(qBound(0, part.mid(1).toInt(), 200 * 1024), '\0') : part;
}

void meetServer(const ParloClient& client, const QString& path, const QList<QByteArray>& parts) {
    const auto peer = UnixSocket::connectTo(path, {5s, 5s});
    for (const QByteArray& part : parts) {
        const QByteArray sent = packet(part);
        char reply[16];
        const auto size = static_cast<size_t>(sent.size());
        // An empty packet looks like the end, so nothing is answered.
        if (::send(peer.get(), sent.constData(), size, MSG_NOSIGNAL) <= 0 ||
            ::recv(peer.get(), reply, sizeof reply, 0) <= 0)
            break;
        require(sent.size() >= 8, "a packet without a number was answered");
        require(
            qFromLittleEndian<quint64>(sent.constData()) <= 0xffffffff, "a number of more than 32 bits was answered");
    }
    qint64 code = ParloClient::NoReply;
    require(
        client.sendMessageWithName(u"server"_s, "after", 7, &code) == "7after" && code == 0, "the endpoint is gone");
}

void meetClient(const ParloClient& client, const Platform::UniqueFd& listener, const QByteArray& reply) {
    std::thread peer([&] {
        pollfd knock{listener.get(), POLLIN, 0};
        ::poll(&knock, 1, static_cast<int>(Seconds * 1000));
        const Platform::UniqueFd accepted(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        ::send(accepted.get(), reply.constData(), static_cast<size_t>(reply.size()), MSG_NOSIGNAL);
    });
    qint64 code = 0;
    const QByteArray read = client.sendMessageWithName(u"peer"_s, "message", 1, &code);
    peer.join();
    require(reply.size() >= 8 || (read.isNull() && code == ParloClient::NoReply), "a reply without a number was taken");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    static const InputFolder folder;
    static Echo echo;
    static ParloServer server(echo, folder.path());
    static const Platform::UniqueFd peer = UnixSocket::listenAt(folder.path(u"peer"_s), 8);
    static ParloClient client(folder.path());
    client.setSendTimeout(Seconds);
    client.setReceiveTimeout(Seconds);
    require(server.startListen(u"server"_s) && peer.isOpen(), "no sockets");

    const QList<QByteArray> parts = partsOf(bytesOf(data, size));
    meetServer(client, folder.path(u"server"_s), parts);
    meetClient(client, peer, packet(parts[0]));
    return 0;
}
