#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The AES operations of VoAlgorithmSM4 on bytes, with their rules for keys and padding. Any thread may call.
namespace AesCbc {

std::optional<QByteArray> encrypt(const QByteArray& plain, const std::optional<QString>& key);
std::optional<QByteArray> decrypt(const QByteArray& cipher, const std::optional<QString>& key);

} // namespace AesCbc
