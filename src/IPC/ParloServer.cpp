#include "ParloServer.h"

#include "ParloFrame.h"
#include "ParloKeys.h"
#include "ParloSocket.h"
#include "UnixSocket.h"

#include <QCborMap>
#include <QFile>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <vector>

using Platform::UniqueFd;

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t MostPeers = 16;
constexpr ptrdiff_t MostPeersOfUser = 15;
constexpr std::chrono::seconds SilenceLimit{30};
constexpr std::chrono::seconds ReplyLimit{2};
constexpr std::chrono::seconds DescriptorPause{1};

struct Peer {
    UniqueFd socket;
    bool isRoot;
    Clock::time_point closesAt = Clock::now() + SilenceLimit;
    QByteArray buffer = {};
};

} // namespace

struct ParloServer::Listener {
    Listener(ParloServerDelegate& receiver, UniqueFd listeningSocket)
        : delegate(receiver), socket(std::move(listeningSocket)), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

    void run();
    void acceptPeers();
    void makeRoomFor(bool isRoot);
    bool serve(Peer& peer);
    bool answer(const Peer& peer, const QCborValue& request);
    int timeLeft() const;

    ParloServerDelegate& delegate;
    const UniqueFd socket;
    const UniqueFd wake;
    /// The one that has been silent for longest comes first.
    std::list<Peer> peers;
    /// When no descriptor was free for one who knocks, nobody is let in before this.
    Clock::time_point acceptsAfter = Clock::now();
};

int ParloServer::Listener::timeLeft() const {
    auto due = acceptsAfter > Clock::now() ? acceptsAfter : Clock::time_point::max();
    for (const Peer& peer : peers)
        due = std::min(due, peer.closesAt);
    if (due == Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
    return static_cast<int>(std::max<qint64>(left, 0));
}

/// One place is root's alone, so that the user's programs cannot keep the agent out; where all are taken, whoever has
/// been silent for longest goes.
void ParloServer::Listener::makeRoomFor(bool isRoot) {
    const auto isUser = [](const Peer& peer) { return !peer.isRoot; };
    if (isRoot && peers.size() >= MostPeers)
        peers.pop_front();
    else if (!isRoot && std::ranges::count_if(peers, isUser) >= MostPeersOfUser)
        peers.erase(std::ranges::find_if(peers, isUser));
}

void ParloServer::Listener::acceptPeers() {
    for (;;) {
        UniqueFd peer(accept4(socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!peer.isOpen()) {
            if (errno == EMFILE || errno == ENFILE)
                acceptsAfter = Clock::now() + DescriptorPause;
            return;
        }
        if (!ParloSocket::isTrustedPeer(peer.get()))
            continue;
        const bool isRoot = Platform::UnixSocket::peerOf(peer.get()) == uid_t(0);
        makeRoomFor(isRoot);
        peers.push_back({std::move(peer), isRoot});
    }
}

bool ParloServer::Listener::answer(const Peer& peer, const QCborValue& request) {
    const QCborMap message = request.toMap();
    const QCborValue msgid = message.value(ParloKeys::MessageId);
    if (!msgid.isInteger())
        return false;
    const QCborValue reply =
        delegate.handleIPCReceiveData(message.value(ParloKeys::Message), static_cast<quint32>(msgid.toInteger()));
    QCborMap answer;
    answer.insert(ParloKeys::ReturnCode, QCborValue(0));
    answer.insert(ParloKeys::Reply, reply);
    const auto frame = ParloFrame::encoded(answer);
    return frame && ParloSocket::writeAll(peer.socket.get(), *frame, Clock::now() + ReplyLimit);
}

/// False when the peer is to be closed.
bool ParloServer::Listener::serve(Peer& peer) {
    if (!ParloSocket::readSome(peer.socket.get(), peer.buffer, Clock::now()))
        return false;
    peer.closesAt = Clock::now() + SilenceLimit;
    for (;;) {
        QCborValue message;
        const ParloFrame::State state = ParloFrame::take(peer.buffer, &message);
        if (state == ParloFrame::State::Incomplete)
            return true;
        if (state == ParloFrame::State::Broken || !answer(peer, message))
            return false;
    }
}

void ParloServer::Listener::run() {
    for (;;) {
        const short accepting = acceptsAfter > Clock::now() ? 0 : POLLIN;
        std::vector<pollfd> sources = {{wake.get(), POLLIN, 0}, {socket.get(), accepting, 0}};
        for (const Peer& peer : peers)
            sources.push_back({peer.socket.get(), POLLIN, 0});
        poll(sources.data(), sources.size(), timeLeft());
        if (sources[0].revents)
            return;
        std::list<Peer> heard;
        size_t place = 2;
        for (auto peer = peers.begin(); peer != peers.end(); ++place) {
            const auto next = std::next(peer);
            if (sources[place].revents ? !serve(*peer) : Clock::now() >= peer->closesAt)
                peers.erase(peer);
            else if (sources[place].revents)
                heard.splice(heard.end(), peers, peer);
            peer = next;
        }
        peers.splice(peers.end(), heard);
        if (sources[1].revents)
            acceptPeers();
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
    UniqueFd socket = ParloSocket::listenAt(m_folder, key);
    if (!socket.isOpen())
        return false;
    m_key = key;
    m_listener = std::make_unique<Listener>(m_delegate, std::move(socket));
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
