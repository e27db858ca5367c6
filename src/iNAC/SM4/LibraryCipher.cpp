#include "LibraryCipher.h"

#include <QStringDecoder>

#include <openssl/crypto.h>

#include <climits>
#include <memory>

using namespace Qt::StringLiterals;

WipedBytes::~WipedBytes() {
    if (!m_bytes.isEmpty())
        OPENSSL_cleanse(m_bytes.data(), size());
}

std::optional<QString> WipedBytes::text() const {
    QStringDecoder decoder(
        QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString decoded = decoder(m_bytes);
    if (decoder.hasError())
        return std::nullopt;
    return decoded.isNull() ? u""_s : decoded;
}

std::optional<QByteArray> throughCipher(const EVP_CIPHER* cipher, const unsigned char* key, const unsigned char* iv,
    QByteArrayView input, int encrypt, Padding padding) {
    if (input.size() > INT_MAX - 2 * EVP_MAX_BLOCK_LENGTH) // the library counts in int
        return std::nullopt;
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    QByteArray output(input.size() + EVP_MAX_BLOCK_LENGTH, Qt::Uninitialized);
    auto* out = reinterpret_cast<unsigned char*>(output.data());
    const auto* in = reinterpret_cast<const unsigned char*>(input.data());
    int written = 0;
    int rest = 0;
    if (EVP_CipherInit_ex(context.get(), cipher, nullptr, key, iv, encrypt) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), padding == Padding::Pkcs7) != 1 ||
        EVP_CipherUpdate(context.get(), out, &written, in, static_cast<int>(input.size())) != 1 ||
        EVP_CipherFinal_ex(context.get(), out + written, &rest) != 1) {
        const WipedBytes refused(std::move(output));
        return std::nullopt;
    }
    output.truncate(written + rest);
    return output;
}
