#pragma once

#include "UniqueFd.h"

#include <QByteArray>
#include <QString>

#include <chrono>

/// Unix sockets of the message channel, in a folder of this user alone.
namespace ParloSocket {

using Deadline = std::chrono::steady_clock::time_point;

/// A listening socket under @p folder named @p key, for this user only; none when another process serves it, or on
/// failure.
Platform::UniqueFd listenAt(const QString& folder, const QString& key);
/// A connection to @p key within @p deadline, its other end run by root or this user; none otherwise.
Platform::UniqueFd connectTo(const QString& folder, const QString& key, Deadline deadline);
/// The other end is root or the user of this process.
bool isTrustedPeer(int socket);
/// True when everything went out before @p deadline.
bool writeAll(int socket, const QByteArray& bytes, Deadline deadline);
/// Appends what has come, waiting until @p deadline for the first byte; false at the end of the stream, on failure or
/// time-out.
bool readSome(int socket, QByteArray& buffer, Deadline deadline);

} // namespace ParloSocket
