#pragma once

#include <QByteArray>
#include <QJsonObject>

#include <optional>

/// The sealed forms of the management server's protocol, written for tests only.
///
/// It shares no code with the client nor with the server, so that a mistake in either shows.
namespace WireCodec {

/// Request form: JSON, zlib, AES-128-CBC with the built-in key, Base64 text.
QByteArray sealRequest(const QJsonObject& fields);
/// Strict: Base64 (line breaks allowed), whole blocks, correct padding, one complete zlib stream, a JSON object.
std::optional<QJsonObject> openRequest(const QByteArray& body);

/// Answer form: JSON, AES, Base64; no compression.
QByteArray sealAnswer(const QJsonObject& fields);

/// The layers one by one, for bodies that are wrong on purpose.
QByteArray encipher(const QByteArray& plain);
std::optional<QByteArray> decipher(const QByteArray& base64);
QByteArray deflate(const QByteArray& plain);

} // namespace WireCodec
