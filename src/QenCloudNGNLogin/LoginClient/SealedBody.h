#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <optional>

/// The form in which request parameters travel: JSON, compressed, enciphered with the built-in key, as Base64 text. Any
/// thread.
namespace SealedBody {

/// The HTTP body for @p parameters, whatever the request; empty when the compressor or the cipher cannot be set up.
QByteArray encryptResquestParams(const QJsonObject& parameters);
/// The same, for the sign-out.
inline QByteArray logoutEncryptionWithParam(const QJsonObject& parameters) {
    return encryptResquestParams(parameters);
}
/// The same for JSON that is already written.
QByteArray sealJson(const QByteArray& json);

/// What an enciphered answer holds, an object or an array. Answers are not compressed, unlike requests. Nothing for a
/// text that is no Base64 and for what does not come out as JSON.
std::optional<QJsonValue> decodeSM4(const QString& text);
/// The bytes within, unparsed; nothing for a text that is no Base64.
std::optional<QByteArray> unsealBytes(const QString& text);

} // namespace SealedBody
