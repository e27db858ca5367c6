#include "X509Making.h"

#include <QSaveFile>

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>

namespace Reference {

namespace {

using Memory = std::unique_ptr<BIO, Freed<BIO_free_all>>;

bool addExtension(X509* certificate, X509* issuer, int name, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, name, value);
    const bool added = extension && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    return added;
}

bool setSerial(X509* certificate) {
    unsigned char serial[8] = {};
    if (RAND_bytes(serial, sizeof serial) != 1)
        return false;
    serial[0] = (serial[0] & 0x7f) | 0x40; // positive, and never shorter than it looks
    const std::unique_ptr<BIGNUM, Freed<BN_free>> number(BN_bin2bn(serial, sizeof serial, nullptr));
    return number && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate));
}

bool addName(X509_NAME* name, const char* field, const QString& value) {
    const QByteArray text = value.toUtf8();
    return X509_NAME_add_entry_by_txt(name, field, MBSTRING_UTF8,
               reinterpret_cast<const unsigned char*>(text.constData()), int(text.size()), -1, 0) == 1;
}

template <typename Write>
QByteArray written(Write write) {
    const Memory memory(BIO_new(BIO_s_mem()));
    if (!memory || write(memory.get()) != 1)
        return {};
    char* data = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &data);
    return length > 0 ? QByteArray(data, length) : QByteArray();
}

Memory readable(const QByteArray& bytes) {
    return Memory(BIO_new_mem_buf(bytes.constData(), int(bytes.size())));
}

} // namespace

Key makeKey() {
    return Key(EVP_EC_gen("P-256"));
}

Certificate makeCertificate(const CertificatePlan& plan, EVP_PKEY* key) {
    Certificate certificate(X509_new());
    if (!key || !certificate || !setSerial(certificate.get()))
        return {};
    X509_set_version(certificate.get(), 2);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60 * 60);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), long(plan.validSeconds));
    X509_set_pubkey(certificate.get(), key);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    if (!addName(name, "CN", plan.commonName) || (!plan.unit.isEmpty() && !addName(name, "OU", plan.unit)))
        return {};
    X509* issuer = plan.issuer ? plan.issuer : certificate.get();
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer));
    for (const auto& [number, value] : plan.extensions) {
        if (!addExtension(certificate.get(), issuer, number, value))
            return {};
    }
    if (X509_sign(certificate.get(), plan.issuerKey ? plan.issuerKey : key, EVP_sha256()) == 0)
        return {};
    return certificate;
}

QByteArray pemOf(EVP_PKEY* key) {
    return written(
        [key](BIO* out) { return PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

QByteArray pemOf(X509* certificate) {
    return written([certificate](BIO* out) { return PEM_write_bio_X509(out, certificate); });
}

QByteArray derOf(X509* certificate) {
    return written([certificate](BIO* out) { return i2d_X509_bio(out, certificate); });
}

Key keyFromPem(const QByteArray& pem) {
    const Memory memory = readable(pem);
    return Key(memory ? PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr) : nullptr);
}

Certificate certificateFromPem(const QByteArray& pem) {
    const Memory memory = readable(pem);
    return Certificate(memory ? PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr) : nullptr);
}

QString serialOf(X509* certificate) {
    const std::unique_ptr<BIGNUM, Freed<BN_free>> number(
        ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
    char* text = number ? BN_bn2hex(number.get()) : nullptr;
    const QString serial = QString::fromLatin1(text);
    OPENSSL_free(text);
    return serial;
}

bool writePrivate(const QString& name, const QByteArray& content) {
    QSaveFile file(name);
    return !content.isEmpty() && file.open(QIODevice::WriteOnly) &&
        file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
        file.write(content) == content.size() && file.commit();
}

} // namespace Reference
