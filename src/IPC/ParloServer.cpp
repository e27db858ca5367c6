#include "ParloServer.h"

#include "ParloFrame.h"
#include "ParloKeys.h"
#include "ParloSocket.h"

#include <QCborMap>
#include <QFile>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t MostPeers = 16;
constexpr std::chrono::seconds SilenceLimit{30};
constexpr std::chrono::seconds ReplyLimit{2};
constexpr std::chrono::seconds DescriptorPause{1};

struct Peer {
    int socket;
    Clock::time_point closesAt;
    QByteArray buffer = {};
};

} // namespace

struct ParloServer::Listener {
    Listener(ParloServerDelegate& receiver, int listeningSocket)
        : delegate(receiver), socket(listeningSocket), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~Listener() {
        for (const Peer& peer : peers)
            close(peer.socket);
        close(socket);
        close(wake);
    }

    void run();
    void acceptPeers();
    bool serve(Peer& peer);
    bool answer(const Peer& peer, const QCborValue& request);
    int timeLeft() const;

    ParloServerDelegate& delegate;
    const int socket;
    const int wake;
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

void ParloServer::Listener::acceptPeers() {
    for (;;) {
        const int peer = accept4(socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (peer < 0) {
            if (errno == EMFILE || errno == ENFILE)
                acceptsAfter = Clock::now() + DescriptorPause;
            return;
        }
        if (peers.size() >= MostPeers || !ParloSocket::isTrustedPeer(peer))
            close(peer);
        else
            peers.push_back({peer, Clock::now() + SilenceLimit});
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
    return frame && ParloSocket::writeAll(peer.socket, *frame, Clock::now() + ReplyLimit);
}

/// False when the peer is to be closed.
bool ParloServer::Listener::serve(Peer& peer) {
    if (!ParloSocket::readSome(peer.socket, peer.buffer, Clock::now()))
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
        std::vector<pollfd> sources = {{wake, POLLIN, 0}, {socket, accepting, 0}};
        for (const Peer& peer : peers)
            sources.push_back({peer.socket, POLLIN, 0});
        poll(sources.data(), sources.size(), timeLeft());
        if (sources[0].revents)
            return;
        size_t place = 2;
        for (auto peer = peers.begin(); peer != peers.end(); ++place) {
            const bool keep = sources[place].revents ? serve(*peer) : Clock::now() < peer->closesAt;
            if (!keep)
                close(peer->socket);
            peer = keep ? std::next(peer) : peers.erase(peer);
        }
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
    const int socket = ParloSocket::listenAt(m_folder, key);
    if (socket < 0)
        return false;
    m_key = key;
    m_listener = std::make_unique<Listener>(m_delegate, socket);
    m_thread = std::thread([this] { m_listener->run(); });
    return true;
}

void ParloServer::stopListen(const QString& key) {
    if (!m_listener || m_key != key)
        return;
    eventfd_write(m_listener->wake, 1);
    m_thread.join();
    m_listener.reset();
    QFile::remove(m_folder + u'/' + m_key);
}
