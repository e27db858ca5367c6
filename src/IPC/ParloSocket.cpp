#include "ParloSocket.h"

#include "Files.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

namespace ParloSocket {

namespace {

constexpr int Backlog = 8;

std::optional<sockaddr_un> addressOf(const QString& folder, const QString& key) {
    const QByteArray path = QFile::encodeName(folder + u'/' + key);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return std::nullopt;
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    return address;
}

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

int newSocket() {
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

} // namespace

bool isTrustedPeer(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && (peer.uid == 0 || peer.uid == geteuid());
}

int connectTo(const QString& folder, const QString& key, Deadline deadline) {
    const auto address = addressOf(folder, key);
    const int socket = address ? newSocket() : -1;
    if (socket < 0)
        return -1;
    // A full backlog answers EAGAIN on these sockets; there is nothing to wait on but time.
    while (connect(socket, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
        if (errno != EAGAIN || std::chrono::steady_clock::now() > deadline) {
            close(socket);
            return -1;
        }
        usleep(10'000);
    }
    if (isTrustedPeer(socket))
        return socket;
    close(socket);
    return -1;
}

int listenAt(const QString& folder, const QString& key) {
    if (!Platform::makePrivateFolder(folder))
        return -1;
    const auto address = addressOf(folder, key);
    const int socket = address ? newSocket() : -1;
    if (socket < 0)
        return -1;
    // A socket file whose owner died is in the way; one that still answers is not ours to take.
    const int other = connectTo(folder, key, std::chrono::steady_clock::now());
    if (other >= 0) {
        close(other);
        close(socket);
        return -1;
    }
    unlink(address->sun_path);
    const mode_t before = umask(0177);
    const bool bound = bind(socket, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
    umask(before);
    if (bound && listen(socket, Backlog) == 0)
        return socket;
    close(socket);
    return -1;
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
