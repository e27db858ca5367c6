#include "UnixSocket.h"

#include <QFile>

#include <cstring>

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
    UniqueFd made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // The file gets the socket's own mode.
    const bool isUsable = made.isOpen() && ::fchmod(made.get(), 0600) == 0 &&
        use(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int reason = errno;
    if (!isUsable)
        made.close();
    errno = reason;
    return made;
}

} // namespace

UniqueFd listenAt(const QString& path, int backlog) {
    QFile::remove(path);
    UniqueFd made = socketFor(path, ::bind);
    if (made.isOpen() && ::listen(made.get(), backlog) != 0)
        made.close();
    return made;
}

UniqueFd connectTo(const QString& path) {
    return socketFor(path, ::connect);
}

std::optional<uid_t> peerOf(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? std::optional(peer.uid) : std::nullopt;
}

} // namespace Platform::UnixSocket
