#include "ParloClient.h"

#include "ParloFrame.h"
#include "ParloKeys.h"
#include "ParloSocket.h"

#include <QCborMap>

#include <unistd.h>

namespace {

ParloSocket::Deadline in(double seconds) {
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<qint64>(seconds * 1000));
}

/// The one reply frame on @p socket.
QCborMap receivedReply(int socket, ParloSocket::Deadline deadline) {
    QByteArray buffer;
    while (ParloSocket::readSome(socket, buffer, deadline)) {
        QCborValue reply;
        if (ParloFrame::take(buffer, &reply) != ParloFrame::State::Incomplete)
            return reply.toMap();
    }
    return {};
}

} // namespace

ParloClient::ParloClient(QString folder) : m_folder(std::move(folder)) {}

QCborValue ParloClient::sendMessageWithName(
    const QString& name, const QCborValue& message, quint32 msgid, qint64* retCode) const {
    *retCode = NoReply;
    const auto frame = ParloFrame::encoded(
        QCborMap{{ParloKeys::MessageId, static_cast<qint64>(msgid)}, {ParloKeys::Message, message}});
    if (!frame)
        return QCborValue(QCborValue::Undefined);
    const auto sendDeadline = in(m_sendTimeout);
    const int socket = ParloSocket::connectTo(m_folder, name, sendDeadline);
    if (socket < 0)
        return QCborValue(QCborValue::Undefined);
    QCborMap reply;
    if (ParloSocket::writeAll(socket, *frame, sendDeadline))
        reply = receivedReply(socket, in(m_receiveTimeout));
    close(socket);
    if (!reply.value(ParloKeys::ReturnCode).isInteger())
        return QCborValue(QCborValue::Undefined);
    *retCode = reply.value(ParloKeys::ReturnCode).toInteger();
    return reply.value(ParloKeys::Reply);
}
