#include "UnixSocket.h"

#include <QFile>

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace Platform::UnixSocket {

namespace {

/// What @p use, bind() or connect(), makes of a new socket and @p path.
template <typename Use>
UniqueFd socketFor(const QString& path, Use use) {
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address{};
    if (name.size() >= static_cast<qsizetype>(sizeof address.sun_path)) {
        errno = ENAMETOOLONG;
        return {};
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    UniqueFd made(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The file gets the socket's own mode.
    const bool isUsable = made.isOpen() && ::fchmod(made.get(), 0600) == 0 &&
        use(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int reason = errno;
    if (!isUsable)
        made.close();
    errno = reason;
    return made;
}

bool setWait(int socket, int direction, std::chrono::microseconds wait) {
    // Zero would be for ever.
    const auto count = std::max<qint64>(wait.count(), 1);
    const timeval time{count / 1'000'000, count % 1'000'000};
    return ::setsockopt(socket, SOL_SOCKET, direction, &time, sizeof time) == 0;
}

} // namespace

UniqueFd listenAt(const QString& path, int backlog) {
    QFile::remove(path);
    UniqueFd made = socketFor(path, ::bind);
    if (made.isOpen() && ::listen(made.get(), backlog) != 0)
        made.close();
    return made;
}

UniqueFd connectTo(const QString& path, Waits waits) {
    return socketFor(path, [waits](int made, const sockaddr* address, socklen_t size) {
        const bool isReady = waits.sending.count() == 0 ||
            (::fcntl(made, F_SETFL, 0) == 0 && setWait(made, SO_SNDTIMEO, waits.sending) &&
                setWait(made, SO_RCVTIMEO, waits.receiving));
        return isReady ? ::connect(made, address, size) : -1;
    });
}

std::optional<uid_t> trustedPeer(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return std::nullopt;
    return peer.uid == 0 || peer.uid == ::geteuid() ? std::optional(peer.uid) : std::nullopt;
}

} // namespace Platform::UnixSocket
