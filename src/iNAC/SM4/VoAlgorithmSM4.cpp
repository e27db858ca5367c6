#include "VoAlgorithmSM4.h"

#include "AesCbc.h"
#include "Base64Text.h"
#include "CipherContext.h"
#include "WipedBytes.h"
#include "sm4.h"

#include <QDebug>

#include <openssl/crypto.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr int KeyCharacters = 16;

/// Key and IV bytes of one call; a missing IV is told by a null pointer.
struct Material {
    Material(const QString& keyText, const QString* ivText)
        : key(keyText.toUtf8()), iv(ivText ? ivText->toUtf8() : QByteArray()) {}

    WipedBytes key;
    WipedBytes iv;
};

bool isUsable(const QString& key, const QString* iv, const QString& text) {
    return key.size() == KeyCharacters && (!iv || iv->size() == KeyCharacters) && !text.isEmpty() &&
        text.size() < INT_MAX / 4;
}

/// CBC with an @p iv, ECB without.
void cryptBlocks(const sm4_context& context, int mode, WipedBytes* iv, std::size_t length, const unsigned char* input,
    unsigned char* output) {
    if (iv)
        sm4_crypt_cbc(&context, mode, length, iv->data(), input, output);
    else
        sm4_crypt_ecb(&context, mode, length, input, output);
}

std::optional<QString> encryptBlocks(const QString& key, const QString* iv, const QString& text) {
    if (!isUsable(key, iv, text))
        return std::nullopt;
    Material material(key, iv);
    const WipedBytes plain(text.toUtf8());
    auto* buffer = static_cast<unsigned char*>(std::malloc(plain.size() + 1));
    if (!buffer)
        return std::nullopt;
    std::memcpy(buffer, plain.data(), plain.size());
    paddingForEncryption(&buffer, plain.size());

    QByteArray cipher(
        static_cast<qsizetype>(plain.size() / SM4_BLOCK_SIZE * SM4_BLOCK_SIZE + SM4_BLOCK_SIZE), Qt::Uninitialized);
    const auto length = static_cast<std::size_t>(cipher.size());
    sm4_context context;
    sm4_setkey_enc(&context, material.key.data());
    cryptBlocks(context, SM4_ENCRYPT, iv ? &material.iv : nullptr, length, buffer,
        reinterpret_cast<unsigned char*>(cipher.data()));
    OPENSSL_cleanse(buffer, length);
    std::free(buffer);
    return Base64Text::encode(cipher);
}

std::optional<QString> decryptBlocks(const QString& key, const QString* iv, const QString& text) {
    if (!isUsable(key, iv, text))
        return std::nullopt;
    const std::optional<QByteArray> cipher = Base64Text::decode(text);
    if (!cipher)
        return std::nullopt;
    Material material(key, iv);
    const std::size_t length = static_cast<std::size_t>(cipher->size()) / SM4_BLOCK_SIZE * SM4_BLOCK_SIZE;
    WipedBytes plain(QByteArray(static_cast<qsizetype>(length), Qt::Uninitialized));
    sm4_context context;
    sm4_setkey_dec(&context, material.key.data());
    cryptBlocks(context, SM4_DECRYPT, iv ? &material.iv : nullptr, length,
        reinterpret_cast<const unsigned char*>(cipher->constData()), plain.data());
    std::size_t remaining = 0;
    unpaddingForDecryption(plain.data(), &remaining, length);
    return plain.text(static_cast<qsizetype>(remaining));
}

/// The bytes of @p input through SM4 in CTR mode, which is the same way there and back and needs no padding; nothing
/// when the library refuses.
std::optional<QByteArray> cryptStream(const Material& material, QByteArrayView input, int encrypt) {
    const CipherContext context = makeCipherContext(EVP_sm4_ctr(), material.key.data(), material.iv.data(), encrypt);
    return context ? throughCipher(context.get(), input) : std::nullopt;
}

QByteArray decimalBytes(const QByteArray& bytes) {
    QByteArray list;
    list.reserve(bytes.size() * 4);
    for (const char byte : bytes)
        list += QByteArray::number(static_cast<unsigned char>(byte)).rightJustified(2, '0') + ' ';
    return list;
}

} // namespace

VoAlgorithmSM4& VoAlgorithmSM4::initWithKeyCTR(const QString& key, const QString& iv) {
    m_key = key;
    m_iv = iv;
    m_type = CTR;
    return *this;
}

VoAlgorithmSM4& VoAlgorithmSM4::initWithKey(const QString& key, const QString& iv) {
    m_key = key;
    m_iv = iv;
    m_type = CBC;
    return *this;
}

VoAlgorithmSM4& VoAlgorithmSM4::initWithKey(const QString& key) {
    m_key = key;
    m_type = ECB;
    return *this;
}

VoAlgorithmSM4 VoAlgorithmSM4::ctrSM4WithKey(const QString& key, const QString& iv) {
    return VoAlgorithmSM4().initWithKeyCTR(key, iv);
}

VoAlgorithmSM4 VoAlgorithmSM4::cbcSM4WithKey(const QString& key, const QString& iv) {
    return VoAlgorithmSM4().initWithKey(key, iv);
}

VoAlgorithmSM4 VoAlgorithmSM4::ecbSM4WithKey(const QString& key) {
    return VoAlgorithmSM4().initWithKey(key);
}

std::optional<QString> VoAlgorithmSM4::encryption(const QString& text) const {
    switch (m_type) {
    case CTR:
        return encryptionTextWithSM4CTRMode(text);
    case CBC:
        return encryptionTextWithSM4CBCMode(text);
    case ECB:
        return encryptionTextWithSM4ECBMode(text);
    default:
        return std::nullopt;
    }
}

std::optional<QString> VoAlgorithmSM4::decryption(const QString& text) const {
    switch (m_type) {
    case CTR:
        return decryptionTextWithSM4CTRMode(text);
    case CBC:
        return decryptionTextWithSM4CBCMode(text);
    case ECB:
        return decryptionTextWithSM4ECBMode(text);
    default:
        return std::nullopt;
    }
}

std::optional<QString> VoAlgorithmSM4::encryptionTextWithSM4CTRMode(const QString& text) const {
    return encryptionWithSM4CTRKey(m_key, m_iv, text);
}

std::optional<QString> VoAlgorithmSM4::decryptionTextWithSM4CTRMode(const QString& text) const {
    return decryptionWithSM4CTRKey(m_key, m_iv, text);
}

std::optional<QString> VoAlgorithmSM4::encryptionTextWithSM4CBCMode(const QString& text) const {
    return encryptionWithSM4Key(m_key, m_iv, text);
}

std::optional<QString> VoAlgorithmSM4::decryptionTextWithSM4CBCMode(const QString& text) const {
    return decryptionWithSM4Key(m_key, m_iv, text);
}

std::optional<QString> VoAlgorithmSM4::encryptionTextWithSM4ECBMode(const QString& text) const {
    return encryptionWithSM4Key(m_key, text);
}

std::optional<QString> VoAlgorithmSM4::decryptionTextWithSM4ECBMode(const QString& text) const {
    return decryptionWithSM4Key(m_key, text);
}

std::optional<QString> VoAlgorithmSM4::encryptionWithSM4CTRKey(
    const QString& key, const QString& iv, const QString& encryptionText) {
    if (!isUsable(key, &iv, encryptionText))
        return std::nullopt;
    const WipedBytes plain(encryptionText.toUtf8());
    const std::optional<QByteArray> cipher = cryptStream(Material(key, &iv), plain.bytes(), 1);
    if (!cipher)
        return std::nullopt;
    return Base64Text::encode(*cipher);
}

std::optional<QString> VoAlgorithmSM4::decryptionWithSM4CTRKey(
    const QString& key, const QString& iv, const QString& decryptionText) {
    if (!isUsable(key, &iv, decryptionText))
        return std::nullopt;
    const std::optional<QByteArray> cipher = Base64Text::decode(decryptionText);
    if (!cipher)
        return std::nullopt;
    std::optional<QByteArray> decrypted = cryptStream(Material(key, &iv), *cipher, 0);
    if (!decrypted)
        return std::nullopt;
    const WipedBytes plain(*std::exchange(decrypted, std::nullopt));
    qInfo("de=%s", decimalBytes(plain.bytes()).constData());
    return plain.text();
}

std::optional<QString> VoAlgorithmSM4::encryptionWithSM4Key(
    const QString& key, const QString& iv, const QString& encryptionText) {
    const std::optional<QString> result = encryptBlocks(key, &iv, encryptionText);
    if (result)
        qInfo("%s", qUtf8Printable(*result));
    return result;
}

std::optional<QString> VoAlgorithmSM4::decryptionWithSM4Key(
    const QString& key, const QString& iv, const QString& decryptionText) {
    return decryptBlocks(key, &iv, decryptionText);
}

std::optional<QString> VoAlgorithmSM4::encryptionWithSM4Key(const QString& key, const QString& encryptionText) {
    return encryptBlocks(key, nullptr, encryptionText);
}

std::optional<QString> VoAlgorithmSM4::decryptionWithSM4Key(const QString& key, const QString& decryptionText) {
    return decryptBlocks(key, nullptr, decryptionText);
}

std::optional<QString> VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(
    const QString& plainText, const std::optional<QString>& key) {
    const WipedBytes plain(plainText.toUtf8());
    return EncodeAES_CBC_PKCS5Padding(plain.bytes(), key);
}

std::optional<QString> VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(
    const QByteArray& plainBytes, const std::optional<QString>& key) {
    const std::optional<QByteArray> cipher = AesCbc::encrypt(plainBytes, key);
    if (!cipher)
        return std::nullopt;
    return Base64Text::encode(*cipher);
}

std::optional<QByteArray> VoAlgorithmSM4::DecodeAES(const QByteArray& cipherBytes, const std::optional<QString>& key) {
    return AesCbc::decrypt(cipherBytes, key);
}
