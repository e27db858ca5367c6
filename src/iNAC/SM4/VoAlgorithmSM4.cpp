#include "VoAlgorithmSM4.h"

#include "Base64Text.h"
#include "LibraryCipher.h"
#include "sm4.h"

#include <openssl/crypto.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int KeyCharacters = 16;
constexpr qsizetype BlockSize = SM4_BLOCK_SIZE;

// The peer has the same two.
constexpr char DefaultKey[] = "Rk5w9ZqT2&hNe7Xc";
constexpr char FixedIv[] = "pWq4nLs8Ty#%!3Hd";

/// Key and IV bytes of one SM4 operation, and whether they and its text are what it takes.
struct Material {
    /// @param ivText  null for a mode without one
    Material(const QString& keyText, const QString* ivText, const QString& text)
        : isUsable(keyText.size() == KeyCharacters && (!ivText || ivText->size() == KeyCharacters) && !text.isEmpty() &&
              text.size() < INT_MAX / 4),
          hasIv(ivText), key(keyText.toUtf8()), iv(ivText ? ivText->toUtf8() : QByteArray()) {}

    bool isUsable;
    bool hasIv;
    WipedBytes key;
    WipedBytes iv;
};

/// CBC with an IV, ECB without.
void cryptBlocks(const sm4_context& context, Material& material, std::size_t length, const unsigned char* input,
    unsigned char* output) {
    if (material.hasIv)
        sm4_crypt_cbc(&context, context.mode, length, material.iv.data(), input, output);
    else
        sm4_crypt_ecb(&context, context.mode, length, input, output);
}

std::optional<QString> encryptBlocks(Material material, const QString& text) {
    if (!material.isUsable)
        return std::nullopt;
    const WipedBytes plain(text.toUtf8());
    auto* buffer = static_cast<unsigned char*>(std::malloc(plain.size() + 1));
    if (!buffer)
        return std::nullopt;
    std::memcpy(buffer, plain.data(), plain.size());
    paddingForEncryption(&buffer, plain.size());
    const std::size_t length = (plain.size() / SM4_BLOCK_SIZE + 1) * SM4_BLOCK_SIZE;
    QByteArray cipher(static_cast<qsizetype>(length), Qt::Uninitialized);
    sm4_context context;
    sm4_setkey_enc(&context, material.key.data());
    cryptBlocks(context, material, length, buffer, reinterpret_cast<unsigned char*>(cipher.data()));
    OPENSSL_cleanse(buffer, length);
    std::free(buffer);
    return Base64Text::encode(cipher);
}

/// The plain text of @p cipher, whose length is what its last byte says.
QByteArray unpadded(QByteArray plain) {
    std::size_t remaining = 0;
    unpaddingForDecryption(
        reinterpret_cast<unsigned char*>(plain.data()), &remaining, static_cast<std::size_t>(plain.size()));
    plain.truncate(static_cast<qsizetype>(remaining));
    return plain;
}

std::optional<QString> decryptBlocks(Material material, const QString& text) {
    const auto cipher = material.isUsable ? Base64Text::decode(text) : std::nullopt;
    if (!cipher)
        return std::nullopt;
    QByteArray plain(cipher->size() / BlockSize * BlockSize, Qt::Uninitialized);
    sm4_context context;
    sm4_setkey_dec(&context, material.key.data());
    cryptBlocks(context, material, static_cast<std::size_t>(plain.size()),
        reinterpret_cast<const unsigned char*>(cipher->constData()), reinterpret_cast<unsigned char*>(plain.data()));
    return WipedBytes(unpadded(std::move(plain))).text();
}

/// SM4 in CTR mode, which is the same way there and back and needs no padding.
std::optional<QByteArray> cryptStream(const Material& material, QByteArrayView input, int encrypt) {
    return throughCipher(EVP_sm4_ctr(), material.key.data(), material.iv.data(), input, encrypt, Padding::None);
}

QByteArray decimalBytes(const QByteArray& bytes) {
    QByteArray list;
    for (const char byte : bytes)
        list += QByteArray::number(static_cast<unsigned char>(byte)).rightJustified(2, '0') + ' ';
    return list;
}

const unsigned char* fixedIv() {
    return reinterpret_cast<const unsigned char*>(FixedIv);
}

/// AES for a key of that many characters, or none.
const EVP_CIPHER* aesFor(qsizetype characters) {
    if (characters == 16)
        return EVP_aes_128_cbc();
    if (characters == 24)
        return EVP_aes_192_cbc();
    return characters == 32 ? EVP_aes_256_cbc() : nullptr;
}

} // namespace

std::optional<QString> VoAlgorithmSM4::encryption(const QString& text) const {
    if (m_type == CTR)
        return encryptionTextWithSM4CTRMode(text);
    if (m_type == CBC)
        return encryptionTextWithSM4CBCMode(text);
    return m_type == ECB ? encryptionTextWithSM4ECBMode(text) : std::nullopt;
}

std::optional<QString> VoAlgorithmSM4::decryption(const QString& text) const {
    if (m_type == CTR)
        return decryptionTextWithSM4CTRMode(text);
    if (m_type == CBC)
        return decryptionTextWithSM4CBCMode(text);
    return m_type == ECB ? decryptionTextWithSM4ECBMode(text) : std::nullopt;
}

std::optional<QString> VoAlgorithmSM4::encryptionWithSM4CTRKey(
    const QString& key, const QString& iv, const QString& encryptionText) {
    const Material material(key, &iv, encryptionText);
    const WipedBytes plain(encryptionText.toUtf8());
    const auto cipher = material.isUsable ? cryptStream(material, plain.bytes(), 1) : std::nullopt;
    return cipher ? std::optional(Base64Text::encode(*cipher)) : std::nullopt;
}

std::optional<QString> VoAlgorithmSM4::decryptionWithSM4CTRKey(
    const QString& key, const QString& iv, const QString& decryptionText) {
    const Material material(key, &iv, decryptionText);
    const auto cipher = material.isUsable ? Base64Text::decode(decryptionText) : std::nullopt;
    auto decrypted = cipher ? cryptStream(material, *cipher, 0) : std::nullopt;
    if (!decrypted)
        return std::nullopt;
    const WipedBytes plain(std::move(*decrypted));
    qInfo("de=%s", decimalBytes(plain.bytes()).constData());
    return plain.text();
}

std::optional<QString> VoAlgorithmSM4::encryptionWithSM4Key(
    const QString& key, const QString& iv, const QString& encryptionText) {
    const auto result = encryptBlocks({key, &iv, encryptionText}, encryptionText);
    if (result)
        qInfo("%s", qUtf8Printable(*result));
    return result;
}

std::optional<QString> VoAlgorithmSM4::decryptionWithSM4Key(
    const QString& key, const QString& iv, const QString& decryptionText) {
    return decryptBlocks({key, &iv, decryptionText}, decryptionText);
}

std::optional<QString> VoAlgorithmSM4::encryptionWithSM4Key(const QString& key, const QString& encryptionText) {
    return encryptBlocks({key, nullptr, encryptionText}, encryptionText);
}

std::optional<QString> VoAlgorithmSM4::decryptionWithSM4Key(const QString& key, const QString& decryptionText) {
    return decryptBlocks({key, nullptr, decryptionText}, decryptionText);
}

std::optional<QString> VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(
    const QString& plainText, const std::optional<QString>& key) {
    const WipedBytes plain(plainText.toUtf8());
    return EncodeAES_CBC_PKCS5Padding(plain.bytes(), key);
}

std::optional<QString> VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(
    const QByteArray& plainBytes, const std::optional<QString>& key) {
    // The characters choose the size, the bytes are the key: there are never fewer bytes than characters.
    const WipedBytes keyBytes(key ? key->toUtf8() : QByteArray(DefaultKey));
    const EVP_CIPHER* aes = key ? aesFor(key->size()) : EVP_aes_128_cbc();
    if (!aes)
        return std::nullopt;
    if (plainBytes.isEmpty())
        return Base64Text::encode({}); // nothing to pad: an empty text has no block at all
    const auto cipher = throughCipher(aes, keyBytes.data(), fixedIv(), plainBytes, 1);
    return cipher ? std::optional(Base64Text::encode(*cipher)) : std::nullopt;
}

std::optional<QByteArray> VoAlgorithmSM4::DecodeAES(const QByteArray& cipherBytes, const std::optional<QString>& key) {
    // Always 128 bits, so what a longer key enciphered cannot be undone here; that is how the peer knows it.
    const WipedBytes keyBytes((key ? key->toUtf8() : QByteArray(DefaultKey)).leftJustified(BlockSize, '\0'));
    const auto blocks = QByteArrayView(cipherBytes).first(cipherBytes.size() / BlockSize * BlockSize);
    // The library would check the pad bytes, which must go unchecked.
    auto plain = throughCipher(EVP_aes_128_cbc(), keyBytes.data(), fixedIv(), blocks, 0, Padding::None);
    return plain ? std::optional(unpadded(std::move(*plain))) : std::nullopt;
}
