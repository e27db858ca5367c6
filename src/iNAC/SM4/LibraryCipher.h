#pragma once

#include <QByteArray>
#include <QString>

#include <openssl/evp.h>

#include <optional>

/// Owns the bytes of a key or a plain text and overwrites them when it goes. Takes a temporary, so that no shared copy
/// stays behind.
class WipedBytes {
public:
    explicit WipedBytes(QByteArray&& bytes) : m_bytes(std::move(bytes)) {}
    WipedBytes(const WipedBytes&) = delete;
    WipedBytes& operator=(const WipedBytes&) = delete;
    ~WipedBytes();

    /// As UTF-8; nothing when they are none. A byte order mark is a character like any other.
    std::optional<QString> text() const;

    const QByteArray& bytes() const { return m_bytes; }
    const unsigned char* data() const { return reinterpret_cast<const unsigned char*>(m_bytes.constData()); }
    unsigned char* data() { return reinterpret_cast<unsigned char*>(m_bytes.data()); }
    std::size_t size() const { return static_cast<std::size_t>(m_bytes.size()); }

private:
    QByteArray m_bytes;
};

enum class Padding { None, Pkcs7 };

/// All of @p input through @p cipher of libcrypto; nothing when the library refuses, and a buffer that is not handed
/// out is wiped. Any thread may call.
/// @param iv  null for a mode without one  @param encrypt  1, or 0 to decrypt
std::optional<QByteArray> throughCipher(const EVP_CIPHER* cipher, const unsigned char* key, const unsigned char* iv,
    QByteArrayView input, int encrypt, Padding padding = Padding::Pkcs7);
