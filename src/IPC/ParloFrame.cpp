#include "ParloFrame.h"

#include <QtEndian>

namespace ParloFrame {

std::optional<QByteArray> encoded(const QCborValue& value) {
    const QByteArray body = value.toCbor();
    if (body.size() > Limit)
        return std::nullopt;
    QByteArray frame(HeaderSize, Qt::Uninitialized);
    qToLittleEndian(static_cast<quint32>(body.size()), frame.data());
    return frame + body;
}

State take(QByteArray& buffer, QCborValue* value) {
    if (buffer.size() < HeaderSize)
        return State::Incomplete;
    const qint64 length = qFromLittleEndian<quint32>(buffer.constData());
    if (length > Limit)
        return State::Broken;
    if (buffer.size() < HeaderSize + length)
        return State::Incomplete;
    QCborParserError error;
    *value = QCborValue::fromCbor(buffer.constData() + HeaderSize, length, &error);
    buffer.remove(0, HeaderSize + length);
    return error.error == QCborError::NoError ? State::Complete : State::Broken;
}

} // namespace ParloFrame
