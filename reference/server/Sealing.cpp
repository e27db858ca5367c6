#include "Sealing.h"

#include <QJsonDocument>

#include <openssl/evp.h>
#include <zlib.h>

#include <memory>

namespace Reference {

namespace {

constexpr char builtInKey[] = "Rk5w9ZqT2&hNe7Xc";
constexpr char builtInVector[] = "pWq4nLs8Ty#%!3Hd";
constexpr int blockSize = 16;

using Cipher = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

unsigned char* writable(QByteArray& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}
const unsigned char* readable(const QByteArray& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

Cipher startCipher(bool encrypt) {
    Cipher cipher(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    if (!cipher ||
        EVP_CipherInit_ex(cipher.get(), EVP_aes_128_cbc(), nullptr, reinterpret_cast<const unsigned char*>(builtInKey),
            reinterpret_cast<const unsigned char*>(builtInVector), encrypt ? 1 : 0) != 1)
        return Cipher(nullptr, &EVP_CIPHER_CTX_free);
    return cipher;
}

std::optional<QByteArray> runCipher(bool encrypt, const QByteArray& in) {
    const Cipher cipher = startCipher(encrypt);
    if (!cipher)
        return {};
    QByteArray out(in.size() + blockSize, Qt::Uninitialized);
    int length = 0;
    int rest = 0;
    if (EVP_CipherUpdate(cipher.get(), writable(out), &length, readable(in), int(in.size())) != 1 ||
        EVP_CipherFinal_ex(cipher.get(), writable(out) + length, &rest) != 1)
        return {};
    out.truncate(length + rest);
    return out;
}

} // namespace

QByteArray encipher(const QByteArray& plain) {
    const auto secret = runCipher(true, plain);
    return secret ? secret->toBase64() : QByteArray();
}

std::optional<QByteArray> decipher(const QByteArray& base64) {
    QByteArray text = base64;
    text.removeIf([](char c) { return c == '\r' || c == '\n'; });
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    if (decoded.decodingStatus != QByteArray::Base64DecodingStatus::Ok || decoded.decoded.isEmpty() ||
        decoded.decoded.size() % blockSize != 0)
        return {};
    return runCipher(false, decoded.decoded);
}

std::optional<QByteArray> expand(const QByteArray& packed, qsizetype limit) {
    z_stream stream{};
    constexpr int eitherHeader = 15 + 32;
    if (inflateInit2(&stream, eitherHeader) != Z_OK)
        return {};
    const std::unique_ptr<z_stream, decltype(&inflateEnd)> ended(&stream, &inflateEnd);
    stream.next_in = const_cast<Bytef*>(readable(packed));
    stream.avail_in = uInt(packed.size());
    QByteArray plain;
    int result = Z_OK;
    while (result == Z_OK) {
        const qsizetype have = plain.size();
        // One byte more than allowed, so that a stream of exactly the limit is told from a longer one.
        const qsizetype step = qMin<qsizetype>(16384, limit + 1 - have);
        if (step <= 0)
            return {};
        plain.resize(have + step);
        stream.next_out = writable(plain) + have;
        stream.avail_out = uInt(step);
        result = inflate(&stream, Z_NO_FLUSH);
        plain.truncate(have + step - qsizetype(stream.avail_out));
    }
    if (result != Z_STREAM_END || stream.avail_in != 0 || plain.size() > limit)
        return {};
    return plain;
}

QByteArray pack(const QByteArray& plain) {
    uLongf length = compressBound(uLong(plain.size()));
    QByteArray packed(qsizetype(length), Qt::Uninitialized);
    if (compress(writable(packed), &length, readable(plain), uLong(plain.size())) != Z_OK)
        return {};
    packed.truncate(qsizetype(length));
    return packed;
}

QByteArray sealed(const QByteArray& plain) {
    return encipher(pack(plain));
}

std::optional<QJsonObject> openSealed(const QByteArray& body) {
    const auto packed = decipher(body);
    const auto plain = packed ? expand(*packed) : std::nullopt;
    if (!plain)
        return {};
    const auto document = QJsonDocument::fromJson(*plain);
    if (!document.isObject())
        return {};
    return document.object();
}

} // namespace Reference
