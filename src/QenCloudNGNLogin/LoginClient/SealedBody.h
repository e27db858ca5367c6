#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <initializer_list>
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
/// @p answer with what the parts of these names hold in their place; a part that cannot be unsealed goes.
QJsonObject opened(QJsonObject answer, std::initializer_list<QLatin1StringView> parts);
/// The bytes within, unparsed; nothing for a text that is no Base64.
std::optional<QByteArray> unsealBytes(const QString& text);

} // namespace SealedBody

/// Escapes bytes for the query of a URL.
struct QenUrlEncode {
    /// ASCII letters and digits stay; every other byte, "-", ".", "_" and "~" included, becomes "%" and two upper-case
    /// hexadecimal digits.
    static QString urlencodWithData(const QByteArray& data) {
        return QString::fromLatin1(data.toPercentEncoding({}, "-._~"));
    }
};
