#pragma once

#include "UniqueFd.h"

#include <QString>

#include <optional>

#include <sys/types.h>

/// Unix sockets by the path of their file; all of them close on exec and never wait.
namespace Platform::UnixSocket {

/// A listening socket in the place of whatever file @p path is, for this user only; none with errno.
UniqueFd listenAt(const QString& path, int backlog);
/// None with errno: EAGAIN when too many wait to be accepted.
UniqueFd connectTo(const QString& path);
/// The user whose process made the other end; nothing when the kernel cannot say.
std::optional<uid_t> peerOf(int socket);

} // namespace Platform::UnixSocket
