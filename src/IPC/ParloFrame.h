#pragma once

#include <QByteArray>
#include <QCborValue>

#include <optional>

/// The wire form of the message channel: a 32-bit little-endian length, then that many bytes of CBOR.
namespace ParloFrame {

constexpr qint64 HeaderSize = 4;
/// Bytes of CBOR that one frame may hold.
constexpr qint64 Limit = 1 << 20;

/// Nothing when the value is larger than a frame.
std::optional<QByteArray> encoded(const QCborValue& value);

enum class State { Incomplete, Complete, Broken };
/// Takes the first frame off @p buffer into @p value when it is complete; Broken when the peer announced too much or
/// sent no CBOR.
State take(QByteArray& buffer, QCborValue* value);

} // namespace ParloFrame
