#include "BenchHarness.h"
#include "SealedBody.h"
#include "sm4.h"

#include <QByteArray>
#include <QString>

#include <openssl/evp.h>
#include <zlib.h>

#include <array>
#include <memory>

namespace {

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

constexpr std::size_t Bulk = 64 * 1024;
const unsigned char Key[17] = "Rk5w9ZqT2&hNe7Xc";
const unsigned char Iv[17] = "pWq4nLs8Ty#%!3Hd";

CipherContext context(const EVP_CIPHER* cipher, int encrypt) {
    CipherContext made(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    EVP_CipherInit_ex(made.get(), cipher, nullptr, Key, Iv, encrypt);
    return made;
}

/// Our routines beside the library's portable ones, 64 kB a call.
void benchSm4() {
    std::vector<unsigned char> input(Bulk, 'x');
    std::vector<unsigned char> output(Bulk + 16);
    sm4_context encryption;
    sm4_context decryption;
    sm4_setkey_enc(&encryption, Key);
    sm4_setkey_dec(&decryption, Key);
    std::array<unsigned char, 16> iv{};

    for (const bool encrypt : {true, false}) {
        const std::string direction = encrypt ? "" : "_decrypt";
        const sm4_context& keys = encrypt ? encryption : decryption;
        for (const bool chained : {false, true}) {
            const std::string name = std::string(chained ? "sm4_cbc" : "sm4_ecb") + direction + "_64k";
            const CipherContext library = context(chained ? EVP_sm4_cbc() : EVP_sm4_ecb(), encrypt);
            EVP_CIPHER_CTX_set_padding(library.get(), 0);
            Bench::compare(
                name,
                [&] {
                    if (chained)
                        sm4_crypt_cbc(&keys, encrypt, Bulk, iv.data(), input.data(), output.data());
                    else
                        sm4_crypt_ecb(&keys, encrypt, Bulk, input.data(), output.data());
                    Bench::keep(output[0]);
                },
                "libcrypto_" + name,
                [&] {
                    int written = 0;
                    EVP_CipherUpdate(library.get(), output.data(), &written, input.data(), static_cast<int>(Bulk));
                    Bench::keep(output[0]);
                },
                "ratio_" + name);
        }
    }
}

/// The bare calls that a sealed body stands on, with everything that can be kept kept.
class BareCalls {
public:
    BareCalls() { deflateInit2(&m_stream, -1, Z_DEFLATED, 15, 9, Z_DEFAULT_STRATEGY); }
    ~BareCalls() {
        deflateEnd(&m_stream);
        EVP_ENCODE_CTX_free(m_text);
    }

    int seal(const QByteArray& json) {
        deflateReset(&m_stream);
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(json.constData()));
        m_stream.avail_in = static_cast<uInt>(json.size());
        m_stream.next_out = m_compressed.data();
        m_stream.avail_out = static_cast<uInt>(m_compressed.size());
        deflate(&m_stream, Z_FINISH);
        int length = 0;
        int rest = 0;
        EVP_CipherInit_ex(m_encryption.get(), nullptr, nullptr, nullptr, Iv, 1);
        EVP_CipherUpdate(
            m_encryption.get(), m_cipher.data(), &length, m_compressed.data(), static_cast<int>(m_stream.total_out));
        EVP_CipherFinal_ex(m_encryption.get(), m_cipher.data() + length, &rest);
        int written = 0;
        int last = 0;
        EVP_EncodeInit(m_text);
        EVP_EncodeUpdate(m_text, m_encoded.data(), &written, m_cipher.data(), length + rest);
        EVP_EncodeFinal(m_text, m_encoded.data() + written, &last);
        return written + last;
    }

    int unseal(const QByteArray& text) {
        int length = 0;
        int last = 0;
        EVP_DecodeInit(m_text);
        EVP_DecodeUpdate(m_text, m_cipher.data(), &length, reinterpret_cast<const unsigned char*>(text.constData()),
            static_cast<int>(text.size()));
        EVP_DecodeFinal(m_text, m_cipher.data() + length, &last);
        int written = 0;
        int rest = 0;
        EVP_CipherInit_ex(m_decryption.get(), nullptr, nullptr, nullptr, Iv, 0);
        EVP_CipherUpdate(m_decryption.get(), m_compressed.data(), &written, m_cipher.data(), length + last);
        EVP_CipherFinal_ex(m_decryption.get(), m_compressed.data() + written, &rest);
        return written + rest;
    }

private:
    z_stream m_stream{};
    CipherContext m_encryption = context(EVP_aes_128_cbc(), 1);
    CipherContext m_decryption = context(EVP_aes_128_cbc(), 0);
    EVP_ENCODE_CTX* m_text = EVP_ENCODE_CTX_new();
    std::vector<unsigned char> m_compressed = std::vector<unsigned char>(4 * Bulk);
    std::vector<unsigned char> m_cipher = std::vector<unsigned char>(4 * Bulk);
    std::vector<unsigned char> m_encoded = std::vector<unsigned char>(4 * Bulk);
};

/// Parameters as a client sends them: names that repeat, values that do not.
QByteArray sampleJson(qsizetype length) {
    QByteArray json = "{\n";
    quint32 random = 1;
    while (json.size() < length) {
        random = random * 1664525 + 1013904223;
        json += "    \"deviceid" + QByteArray::number(json.size() / 60) + "\": \"" + QByteArray::number(random, 16) +
            "-Mac-PC\",\n";
    }
    return json.left(length - 2) + "\n}";
}

/// An answer of @p json as the server seals it: enciphered, not compressed.
QByteArray sampleAnswer(const QByteArray& json) {
    const CipherContext encryption = context(EVP_aes_128_cbc(), 1);
    QByteArray cipher(json.size() + 32, '\0');
    auto* out = reinterpret_cast<unsigned char*>(cipher.data());
    int written = 0;
    int rest = 0;
    EVP_CipherUpdate(encryption.get(), out, &written, reinterpret_cast<const unsigned char*>(json.constData()),
        static_cast<int>(json.size()));
    EVP_CipherFinal_ex(encryption.get(), out + written, &rest);
    QByteArray text = cipher.left(written + rest).toBase64();
    for (qsizetype at = 64; at < text.size(); at += 66)
        text.insert(at, "\r\n");
    return text;
}

void benchSealedBody(const char* size, qsizetype length) {
    BareCalls bare;
    const QByteArray json = sampleJson(length);
    const std::string seal = std::string("seal_") + size;
    Bench::compare(
        seal, [&] { Bench::keep(SealedBody::sealJson(json).size()); }, "bare_" + seal,
        [&] { Bench::keep(bare.seal(json)); }, "ratio_" + seal);

    const QByteArray answer = sampleAnswer(json);
    const QString text = QString::fromLatin1(answer);
    const std::string unseal = std::string("unseal_") + size;
    Bench::compare(
        unseal, [&] { Bench::keep(SealedBody::unsealBytes(text)->size()); }, "bare_" + unseal,
        [&] { Bench::keep(bare.unseal(answer)); }, "ratio_" + unseal);
}

} // namespace

int main() {
    benchSm4();
    benchSealedBody("400", 400);
    benchSealedBody("64k", 64 * 1024);
}
