#include "ParloChannel.h"

#include "Files.h"
#include "UnixSocket.h"

#include <QFile>
#include <QtEndian>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

namespace UnixSocket = Platform::UnixSocket;

using Platform::uninterrupted;
using Platform::UniqueFd;

namespace {

constexpr int Backlog = 8;
constexpr ptrdiff_t MostPeers = 16;
constexpr ptrdiff_t MostPeersOfUser = 15;
constexpr int DescriptorPauseMilliseconds = 1000;

/// One message or reply: one packet of its socket, a 64-bit little-endian number before the bytes.
struct Packet {
    /// Bytes of a packet.
    static constexpr qsizetype Limit = 128 * 1024;

    /// The message's identifier, or the reply's return code.
    qint64 number = 0;
    QByteArray bytes;

    /// As far as @p socket waits: true when the packet went out whole.
    bool send(int socket) const;
    /// The next one; nothing without one, at the end, and for one that is too short or too long.
    static std::optional<Packet> receive(int socket);
};

bool Packet::send(int socket) const {
    QByteArray packet(sizeof number, Qt::Uninitialized);
    qToLittleEndian(number, packet.data());
    packet += bytes;
    const auto size = static_cast<size_t>(packet.size());
    return packet.size() <= Limit &&
        uninterrupted([&] { return ::send(socket, packet.constData(), size, MSG_NOSIGNAL); }) >= 0;
}

std::optional<Packet> Packet::receive(int socket) {
    QByteArray packet(Limit, Qt::Uninitialized);
    const auto room = static_cast<size_t>(packet.size());
    const ssize_t size = uninterrupted([&] { return ::recv(socket, packet.data(), room, MSG_TRUNC); });
    if (size < static_cast<ssize_t>(sizeof number) || size > Limit)
        return std::nullopt;
    const auto begin = static_cast<qsizetype>(sizeof number);
    return Packet{qFromLittleEndian<qint64>(packet.constData()), packet.mid(begin, size - begin)};
}

std::chrono::microseconds inTime(double seconds) {
    return std::chrono::microseconds(static_cast<qint64>(seconds * 1e6));
}

struct Peer {
    UniqueFd socket;
    bool isRoot;
    /// The round in which it was heard last, or came.
    quint64 heard;
};

} // namespace

QByteArray ParloClient::sendMessageWithName(
    const QString& name, const QByteArray& message, quint32 msgid, qint64* retCode) const {
    *retCode = NoReply;
    const auto socket =
        UnixSocket::connectTo(m_folder + u'/' + name, {inTime(m_sendTimeout), inTime(m_receiveTimeout)});
    if (!socket.isOpen() || !UnixSocket::trustedPeer(socket.get()))
        return {};
    if (!Packet{msgid, message}.send(socket.get()))
        return {};
    const auto reply = Packet::receive(socket.get());
    if (!reply)
        return {};
    *retCode = reply->number;
    return reply->bytes;
}

struct ParloServer::Listener {
    void run();
    void acceptPeer();
    void makeRoomFor(bool isRoot);
    bool serve(int peer);

    ParloServerDelegate& delegate;
    const UniqueFd socket;
    const UniqueFd wake{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    /// The one that has been silent for longest comes first.
    std::vector<Peer> peers = {};
    quint64 round = 0;
};

/// One place is root's alone, so that the user's programs cannot keep the agent out; where all are taken, whoever has
/// been silent for longest goes.
void ParloServer::Listener::makeRoomFor(bool isRoot) {
    const auto counts = [isRoot](const Peer& peer) { return isRoot || !peer.isRoot; };
    if (std::ranges::count_if(peers, counts) >= (isRoot ? MostPeers : MostPeersOfUser))
        peers.erase(std::ranges::find_if(peers, counts));
}

void ParloServer::Listener::acceptPeer() {
    UniqueFd peer(accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!peer.isOpen() && (errno == EMFILE || errno == ENFILE)) {
        // Whoever knocks would be heard again at once.
        pollfd end{wake.get(), POLLIN, 0};
        poll(&end, 1, DescriptorPauseMilliseconds);
    }
    const auto user = UnixSocket::trustedPeer(peer.get());
    if (!user)
        return;
    const bool isRoot = *user == 0;
    makeRoomFor(isRoot);
    peers.push_back({std::move(peer), isRoot, round});
}

/// False when the peer is to be closed, also for a reply that it leaves no room for.
bool ParloServer::Listener::serve(int peer) {
    const auto message = Packet::receive(peer);
    if (!message || message->number < 0 || message->number > std::numeric_limits<quint32>::max())
        return false;
    return Packet{0, delegate.handleIPCReceiveData(message->bytes, static_cast<quint32>(message->number))}.send(peer);
}

void ParloServer::Listener::run() {
    for (;; ++round) {
        std::vector<pollfd> sources = {{wake.get(), POLLIN, 0}, {socket.get(), POLLIN, 0}};
        for (const Peer& peer : peers)
            sources.push_back({peer.socket.get(), POLLIN, 0});
        poll(sources.data(), sources.size(), -1);
        if (sources[0].revents)
            return;
        for (size_t i = 0; i < peers.size(); ++i) {
            if (!sources[i + 2].revents)
                continue;
            peers[i].heard = round;
            if (!serve(peers[i].socket.get()))
                peers[i].socket.close();
        }
        std::erase_if(peers, [](const Peer& peer) { return !peer.socket.isOpen(); });
        std::ranges::stable_sort(peers, {}, &Peer::heard);
        if (sources[1].revents)
            acceptPeer();
    }
}

ParloServer::ParloServer(ParloServerDelegate& delegate, QString folder)
    : m_delegate(delegate), m_folder(std::move(folder)) {}

ParloServer::~ParloServer() {
    stopListen(m_key);
}

bool ParloServer::startListen(const QString& key) {
    if (m_listener)
        return m_key == key;
    const QString path = m_folder + u'/' + key;
    // A socket file whose owner died is in the way; one that still answers is not ours to take.
    if (!Platform::makePrivateFolder(m_folder) || UnixSocket::connectTo(path).isOpen() || errno == EAGAIN)
        return false;
    UniqueFd socket = UnixSocket::listenAt(path, Backlog);
    if (!socket.isOpen())
        return false;
    m_key = key;
    m_listener.reset(new Listener{m_delegate, std::move(socket)});
    m_thread = std::thread([this] { m_listener->run(); });
    return true;
}

void ParloServer::stopListen(const QString& key) {
    if (!m_listener || m_key != key)
        return;
    eventfd_write(m_listener->wake.get(), 1);
    m_thread.join();
    m_listener.reset();
    QFile::remove(m_folder + u'/' + m_key);
}
