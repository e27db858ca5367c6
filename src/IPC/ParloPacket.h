#pragma once

#include <QByteArray>

#include <optional>

/// One message or reply of the channel: one packet of its socket, a 64-bit little-endian number before the bytes.
struct ParloPacket {
    /// Bytes of a packet.
    static constexpr qsizetype Limit = 128 * 1024;

    /// The message's identifier, or the reply's return code.
    qint64 number = 0;
    QByteArray bytes;

    /// As far as @p socket waits: true when the packet went out whole.
    bool send(int socket) const;
    /// The next one; nothing without one, at the end, and for one that is too short or too long.
    static std::optional<ParloPacket> receive(int socket);
};
