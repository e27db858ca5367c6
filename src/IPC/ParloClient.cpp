#include "ParloClient.h"

#include "ParloPacket.h"
#include "UnixSocket.h"

namespace UnixSocket = Platform::UnixSocket;

namespace {

std::chrono::microseconds inTime(double seconds) {
    return std::chrono::microseconds(static_cast<qint64>(seconds * 1e6));
}

} // namespace

QByteArray ParloClient::sendMessageWithName(
    const QString& name, const QByteArray& message, quint32 msgid, qint64* retCode) const {
    *retCode = NoReply;
    const auto socket =
        UnixSocket::connectTo(m_folder + u'/' + name, {inTime(m_sendTimeout), inTime(m_receiveTimeout)});
    if (!socket.isOpen() || !UnixSocket::trustedPeer(socket.get()))
        return {};
    if (!ParloPacket{msgid, message}.send(socket.get()))
        return {};
    const auto reply = ParloPacket::receive(socket.get());
    if (!reply)
        return {};
    *retCode = reply->number;
    return reply->bytes;
}
