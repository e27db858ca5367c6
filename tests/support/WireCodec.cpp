#include "WireCodec.h"

#include <QJsonDocument>
#include <QtEndian>

#include <openssl/evp.h>
#include <zlib.h>

#include <memory>

namespace WireCodec {

namespace {

constexpr unsigned char key[] = "Rk5w9ZqT2&hNe7Xc";
constexpr unsigned char iv[] = "pWq4nLs8Ty#%!3Hd";
const QByteArray largestPlain("\x01\0\0\0", 4); // 16 MiB

using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

const unsigned char* bytes(const QByteArray& data) {
    return reinterpret_cast<const unsigned char*>(data.constData());
}
unsigned char* bytes(QByteArray& data) {
    return reinterpret_cast<unsigned char*>(data.data());
}

std::optional<QJsonObject> parseObject(const QByteArray& json) {
    const auto document = QJsonDocument::fromJson(json);
    if (!document.isObject())
        return {};
    return document.object();
}

std::optional<QByteArray> inflateZlib(const QByteArray& data) {
    const QByteArray plain = qUncompress(largestPlain + data);
    // A whole stream ends in the sum of what it holds, and nothing follows it.
    const auto sum = qToBigEndian(quint32(adler32(1, bytes(plain), uInt(plain.size()))));
    if (plain.isEmpty() || !data.endsWith(QByteArray(reinterpret_cast<const char*>(&sum), sizeof sum)))
        return {};
    return plain;
}

} // namespace

QByteArray encipher(const QByteArray& plain) {
    const Context context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    QByteArray out(plain.size() + 16, Qt::Uninitialized);
    int body = 0;
    int tail = 0;
    EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, key, iv);
    EVP_EncryptUpdate(context.get(), bytes(out), &body, bytes(plain), int(plain.size()));
    EVP_EncryptFinal_ex(context.get(), bytes(out) + body, &tail);
    out.truncate(body + tail);
    return out.toBase64();
}

std::optional<QByteArray> decipher(const QByteArray& base64) {
    QByteArray text = base64;
    text.replace("\r\n", "");
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    const QByteArray& data = decoded.decoded;
    if (!decoded || data.isEmpty() || data.size() % 16 != 0)
        return {};
    const Context context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
    QByteArray out(data.size() + 16, Qt::Uninitialized);
    int body = 0;
    int tail = 0;
    EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, key, iv);
    if (EVP_DecryptUpdate(context.get(), bytes(out), &body, bytes(data), int(data.size())) != 1 ||
        EVP_DecryptFinal_ex(context.get(), bytes(out) + body, &tail) != 1)
        return {};
    out.truncate(body + tail);
    return out;
}

QByteArray deflate(const QByteArray& plain) {
    uLongf length = compressBound(uLong(plain.size()));
    QByteArray out(qsizetype(length), Qt::Uninitialized);
    compress(bytes(out), &length, bytes(plain), uLong(plain.size()));
    out.truncate(qsizetype(length));
    return out;
}

QByteArray sealRequest(const QJsonObject& fields) {
    return encipher(deflate(QJsonDocument(fields).toJson()));
}

std::optional<QJsonObject> openRequest(const QByteArray& body) {
    const auto packed = decipher(body);
    const auto plain = packed ? inflateZlib(*packed) : std::nullopt;
    return plain ? parseObject(*plain) : std::nullopt;
}

QByteArray sealAnswer(const QJsonObject& fields) {
    return encipher(QJsonDocument(fields).toJson(QJsonDocument::Compact));
}

} // namespace WireCodec
