#pragma once

#include <QByteArray>
#include <QJsonObject>

#include <optional>

namespace Reference {

/// Largest plain text that a body may expand to; more is refused while it is being expanded.
constexpr qsizetype largestPlainText = 1 << 20;

/// AES-128-CBC with the built-in key, PKCS#7 padding; Base64 without line breaks. Empty when the cipher cannot be set
/// up.
QByteArray encipher(const QByteArray& plain);
/// The reverse. Line breaks are skipped; nothing for other characters, broken blocks or wrong padding.
std::optional<QByteArray> decipher(const QByteArray& base64);

/// Expands a zlib or gzip stream. Nothing for a broken, cut or too large one, and for bytes after its end.
std::optional<QByteArray> expand(const QByteArray& packed, qsizetype limit = largestPlainText);

/// The reverse, a zlib stream.
QByteArray pack(const QByteArray& plain);

/// An answer's sealed body: zlib, AES, Base64.
QByteArray sealed(const QByteArray& plain);
/// A request's sealed body: Base64, AES, zlib, JSON object.
std::optional<QJsonObject> openSealed(const QByteArray& body);

} // namespace Reference
