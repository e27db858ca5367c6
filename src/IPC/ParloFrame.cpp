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

Taken take(QByteArray& buffer) {
    if (buffer.size() < HeaderSize)
        return {};
    const qint64 length = qFromLittleEndian<quint32>(buffer.constData());
    if (length > Limit)
        return {State::Broken, {}};
    if (buffer.size() < HeaderSize + length)
        return {};
    QCborParserError error;
    QCborValue value = QCborValue::fromCbor(buffer.constData() + HeaderSize, length, &error);
    buffer.remove(0, HeaderSize + length);
    if (error.error != QCborError::NoError)
        return {State::Broken, {}};
    return {State::Complete, std::move(value)};
}

} // namespace ParloFrame
