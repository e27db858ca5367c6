#include "WireCodec.h"

#include <QJsonDocument>

#include <openssl/evp.h>
#include <zlib.h>

#include <memory>

namespace WireCodec {

namespace {

constexpr unsigned char key[] = "Rk5w9ZqT2&hNe7Xc";
constexpr unsigned char iv[] = "pWq4nLs8Ty#%!3Hd";
constexpr int largestPlain = 1 << 24;

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
    QByteArray plain(largestPlain, Qt::Uninitialized);
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return {};
    stream.next_in = const_cast<Bytef*>(bytes(data));
    stream.avail_in = uInt(data.size());
    stream.next_out = bytes(plain);
    stream.avail_out = uInt(plain.size());
    const int result = inflate(&stream, Z_FINISH);
    const bool whole = result == Z_STREAM_END && stream.avail_in == 0;
    plain.truncate(qsizetype(stream.total_out));
    inflateEnd(&stream);
    if (!whole)
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
