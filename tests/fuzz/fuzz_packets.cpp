// The message channel to the agent, both ends, in front of a peer that sends any packets: an endpoint that has met one
// still answers the next.

#include "Fuzzing.h"
#include "ParloChannel.h"
#include "UnixSocket.h"

#include <QtEndian>

#include <poll.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace {

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
    const auto peer = Platform::UnixSocket::connectTo(path, {std::chrono::seconds(5), std::chrono::seconds(5)});
    for (const QByteArray& part : parts) {
        const QByteArray sent = packet(part);
        char reply[8];
        if (::send(peer.get(), sent.constData(), static_cast<size_t>(sent.size()), MSG_NOSIGNAL) <= 0 ||
            ::recv(peer.get(), reply, sizeof reply, 0) <= 0)
            break; // an empty packet looks like the end
        require(
            sent.size() >= 8 && qFromLittleEndian<quint64>(sent.constData()) <= UINT_MAX, "answered without a number");
    }
    qint64 code = ParloClient::NoReply;
    const QByteArray reply = client.sendMessageWithName(u"server"_s, "after", 7, &code);
    require(reply == "7after" && code == 0, "the endpoint is gone");
}

void meetClient(const ParloClient& client, const Platform::UniqueFd& listener, const QByteArray& reply) {
    std::thread peer([&] {
        pollfd knock{listener.get(), POLLIN, 0};
        ::poll(&knock, 1, 5000);
        const Platform::UniqueFd accepted(::accept(listener.get(), nullptr, nullptr));
        ::send(accepted.get(), reply.constData(), static_cast<size_t>(reply.size()), MSG_NOSIGNAL);
    });
    qint64 code = 0;
    const QByteArray read = client.sendMessageWithName(u"peer"_s, "message", 1, &code);
    peer.join();
    require(reply.size() >= 8 || (read.isNull() && code == ParloClient::NoReply), "a reply without a number was taken");
}

} // namespace

void fuzz(const QByteArray& input) {
    static const InputFolder folder;
    static Echo echo;
    static ParloServer server(echo, folder.path());
    static const Platform::UniqueFd peer = Platform::UnixSocket::listenAt(folder.path(u"peer"_s), 8);
    static ParloClient client(folder.path());
    require(server.startListen(u"server"_s) && peer.isOpen(), "no sockets");

    const QList<QByteArray> parts = partsOf(input);
    meetServer(client, folder.path(u"server"_s), parts);
    meetClient(client, peer, packet(parts[0]));
}
