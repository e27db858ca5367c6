#include "ParloClient.h"

#include "ParloFrame.h"
#include "ParloKeys.h"
#include "ParloSocket.h"

#include <QCborMap>

namespace {

ParloSocket::Deadline in(double seconds) {
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<qint64>(seconds * 1000));
}

/// The one reply frame on @p socket; empty without a whole one.
QCborMap receivedReply(int socket, ParloSocket::Deadline deadline) {
    QByteArray buffer;
    while (ParloSocket::readSome(socket, buffer, deadline)) {
        QCborValue reply;
        const ParloFrame::State state = ParloFrame::take(buffer, &reply);
        // Of a broken one the parser may have read the code all the same.
        if (state != ParloFrame::State::Incomplete)
            return state == ParloFrame::State::Complete ? reply.toMap() : QCborMap();
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
    const Platform::UniqueFd socket = ParloSocket::connectTo(m_folder, name, sendDeadline);
    if (!socket.isOpen())
        return QCborValue(QCborValue::Undefined);
    QCborMap reply;
    if (ParloSocket::writeAll(socket.get(), *frame, sendDeadline))
        reply = receivedReply(socket.get(), in(m_receiveTimeout));
    if (!reply.value(ParloKeys::ReturnCode).isInteger())
        return QCborValue(QCborValue::Undefined);
    *retCode = reply.value(ParloKeys::ReturnCode).toInteger();
    return reply.value(ParloKeys::Reply);
}
