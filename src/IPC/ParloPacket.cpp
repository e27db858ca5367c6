#include "ParloPacket.h"

#include "UniqueFd.h"

#include <QtEndian>

#include <sys/socket.h>

bool ParloPacket::send(int socket) const {
    QByteArray packet(sizeof number, Qt::Uninitialized);
    qToLittleEndian(number, packet.data());
    packet += bytes;
    const auto size = static_cast<size_t>(packet.size());
    return packet.size() <= Limit &&
        Platform::uninterrupted([&] { return ::send(socket, packet.constData(), size, MSG_NOSIGNAL); }) >= 0;
}

std::optional<ParloPacket> ParloPacket::receive(int socket) {
    QByteArray packet(Limit, Qt::Uninitialized);
    const auto room = static_cast<size_t>(packet.size());
    const ssize_t size = Platform::uninterrupted([&] { return ::recv(socket, packet.data(), room, MSG_TRUNC); });
    if (size < static_cast<ssize_t>(sizeof number) || size > Limit)
        return std::nullopt;
    const auto begin = static_cast<qsizetype>(sizeof number);
    return ParloPacket{qFromLittleEndian<qint64>(packet.constData()), packet.mid(begin, size - begin)};
}
