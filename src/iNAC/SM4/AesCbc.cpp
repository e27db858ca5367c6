#include "AesCbc.h"

#include "CipherContext.h"
#include "WipedBytes.h"
#include "sm4.h"

namespace {

constexpr qsizetype BlockSize = 16;

// The peer has the same two.
constexpr char DefaultKey[] = "Rk5w9ZqT2&hNe7Xc";
constexpr char FixedIv[] = "pWq4nLs8Ty#%!3Hd";

const unsigned char* bytesOf(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

/// The cipher for a key of that many characters, or none.
const EVP_CIPHER* cipherFor(qsizetype characters) {
    switch (characters) {
    case 16:
        return EVP_aes_128_cbc();
    case 24:
        return EVP_aes_192_cbc();
    case 32:
        return EVP_aes_256_cbc();
    default:
        return nullptr;
    }
}

CipherContext makeContext(const EVP_CIPHER* cipher, const unsigned char* key, int encrypt) {
    return makeCipherContext(cipher, key, bytesOf(FixedIv), encrypt);
}

/// A context of this thread that keeps the schedule of the built-in key and only starts again from the IV: looking up
/// the cipher and setting the key cost more than a short body does.
EVP_CIPHER_CTX* builtInContext(int encrypt) {
    thread_local const CipherContext contexts[2] = {
        makeContext(EVP_aes_128_cbc(), bytesOf(DefaultKey), 0), makeContext(EVP_aes_128_cbc(), bytesOf(DefaultKey), 1)};
    EVP_CIPHER_CTX* context = contexts[encrypt].get();
    if (!context || EVP_CipherInit_ex(context, nullptr, nullptr, nullptr, bytesOf(FixedIv), encrypt) != 1)
        return nullptr;
    return context;
}

std::optional<QByteArray> encryptWith(EVP_CIPHER_CTX* context, const QByteArray& plain) {
    // Nothing to pad: an empty text has no block at all.
    if (plain.isEmpty())
        return QByteArray();
    EVP_CIPHER_CTX_set_padding(context, 1);
    return throughCipher(context, plain);
}

std::optional<QByteArray> decryptWith(EVP_CIPHER_CTX* context, const QByteArray& cipher) {
    // The library would check the pad bytes, which must go unchecked.
    EVP_CIPHER_CTX_set_padding(context, 0);
    auto plain = throughCipher(context, QByteArrayView(cipher).first(cipher.size() / BlockSize * BlockSize));
    if (!plain)
        return std::nullopt;
    std::size_t remaining = 0;
    unpaddingForDecryption(
        reinterpret_cast<unsigned char*>(plain->data()), &remaining, static_cast<std::size_t>(plain->size()));
    plain->truncate(static_cast<qsizetype>(remaining));
    return plain;
}

} // namespace

std::optional<QByteArray> AesCbc::encrypt(const QByteArray& plain, const std::optional<QString>& key) {
    if (!key) {
        EVP_CIPHER_CTX* context = builtInContext(1);
        return context ? encryptWith(context, plain) : std::nullopt;
    }
    // The characters choose the size, the bytes are the key: there are never fewer bytes than characters.
    const EVP_CIPHER* cipher = cipherFor(key->size());
    if (!cipher)
        return std::nullopt;
    const WipedBytes keyBytes(key->toUtf8());
    const CipherContext context = makeContext(cipher, keyBytes.data(), 1);
    return context ? encryptWith(context.get(), plain) : std::nullopt;
}

std::optional<QByteArray> AesCbc::decrypt(const QByteArray& cipher, const std::optional<QString>& key) {
    if (!key) {
        EVP_CIPHER_CTX* context = builtInContext(0);
        return context ? decryptWith(context, cipher) : std::nullopt;
    }
    // Always 128 bits, so what a longer key enciphered cannot be undone here; that is how the peer knows it.
    const WipedBytes keyBytes(key->toUtf8().leftJustified(BlockSize, '\0'));
    const CipherContext context = makeContext(EVP_aes_128_cbc(), keyBytes.data(), 0);
    return context ? decryptWith(context.get(), cipher) : std::nullopt;
}
