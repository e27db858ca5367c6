#include "ParloSocket.h"

#include "Files.h"
#include "UnixSocket.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>

namespace UnixSocket = Platform::UnixSocket;

using Platform::UniqueFd;

namespace ParloSocket {

namespace {

constexpr int Backlog = 8;

/// Waits until @p socket is ready for @p events or @p deadline has passed.
bool isReady(int socket, short events, Deadline deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd source{socket, events, 0};
        const int found = poll(&source, 1, static_cast<int>(std::clamp<qint64>(left.count(), 0, 1 << 30)));
        if (found > 0)
            return true;
        if (found == 0 || errno != EINTR)
            return false;
    }
}

} // namespace

bool isTrustedPeer(int socket) {
    const auto user = UnixSocket::peerOf(socket);
    return user && (*user == 0 || *user == geteuid());
}

UniqueFd connectTo(const QString& folder, const QString& key, Deadline deadline) {
    for (;;) {
        UniqueFd socket = UnixSocket::connectTo(folder + u'/' + key);
        if (socket.isOpen())
            return isTrustedPeer(socket.get()) ? std::move(socket) : UniqueFd();
        // A full backlog; there is nothing to wait on but time.
        if (errno != EAGAIN || std::chrono::steady_clock::now() > deadline)
            return {};
        usleep(10'000);
    }
}

UniqueFd listenAt(const QString& folder, const QString& key) {
    // A socket file whose owner died is in the way; one that still answers is not ours to take.
    if (!Platform::makePrivateFolder(folder) || connectTo(folder, key, std::chrono::steady_clock::now()).isOpen())
        return {};
    return UnixSocket::listenAt(folder + u'/' + key, Backlog);
}

bool writeAll(int socket, const QByteArray& bytes, Deadline deadline) {
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t now =
            send(socket, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (now > 0)
            sent += now;
        else if (now < 0 && errno == EAGAIN ? !isReady(socket, POLLOUT, deadline) : errno != EINTR)
            return false;
    }
    return true;
}

bool readSome(int socket, QByteArray& buffer, Deadline deadline) {
    char chunk[16 * 1024];
    for (;;) {
        const ssize_t length = recv(socket, chunk, sizeof chunk, 0);
        if (length > 0) {
            buffer.append(chunk, length);
            return true;
        }
        if (length == 0 || (errno != EAGAIN && errno != EINTR) || !isReady(socket, POLLIN, deadline))
            return false;
    }
}

} // namespace ParloSocket
