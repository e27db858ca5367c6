#pragma once

#include <QByteArray>

#include <openssl/evp.h>

#include <optional>

enum class Padding { None, Pkcs7 };

/// All of @p input through @p cipher of libcrypto; nothing when the library refuses, and a buffer that is not handed
/// out is wiped. Any thread may call.
/// @param iv  null for a mode without one  @param encrypt  1, or 0 to decrypt
std::optional<QByteArray> throughCipher(const EVP_CIPHER* cipher, const unsigned char* key, const unsigned char* iv,
    QByteArrayView input, int encrypt, Padding padding = Padding::Pkcs7);
