#pragma once

#include "UniqueFd.h"

#include <QString>

#include <chrono>
#include <optional>

#include <sys/types.h>

/// Unix sockets of packets by the path of their file; all of them close on exec.
namespace Platform::UnixSocket {

/// A listening socket in the place of whatever file @p path is, for this user only; none with errno. Never waits.
UniqueFd listenAt(const QString& path, int backlog);

/// How long the calls on a socket may wait.
struct Waits {
    /// Connecting included; zero for a socket that never waits.
    std::chrono::microseconds sending{0};
    std::chrono::microseconds receiving{0};
};
/// None with errno: EAGAIN when too many wait to be accepted.
UniqueFd connectTo(const QString& path, Waits waits = {});

/// The user whose process made the other end, when that is root or the user of this process.
std::optional<uid_t> trustedPeer(int socket);

} // namespace Platform::UnixSocket
