#pragma once

#include <QByteArray>

#include <openssl/evp.h>

#include <memory>
#include <optional>

/// A cipher of libcrypto with its key and IV set. For one thread.
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

/// Null when the library refuses. @param iv  null for a mode without one  @param encrypt  1, or 0 to decrypt
CipherContext makeCipherContext(
    const EVP_CIPHER* cipher, const unsigned char* key, const unsigned char* iv, int encrypt);

/// All of @p input through @p context; nothing when the library refuses. A buffer that is not handed out is wiped.
std::optional<QByteArray> throughCipher(EVP_CIPHER_CTX* context, QByteArrayView input);
