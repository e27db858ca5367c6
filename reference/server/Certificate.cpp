#include "Certificate.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QSslCertificate>
#include <QSslKey>

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr long validSeconds = 10L * 365 * 24 * 60 * 60;

template <auto Free>
struct Freed {
    template <typename T>
    void operator()(T* pointer) const {
        Free(pointer);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;
using Memory = std::unique_ptr<BIO, Freed<BIO_free_all>>;

bool addExtension(X509* certificate, int name, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, name, value);
    const bool added = extension && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    return added;
}

Certificate selfSigned(EVP_PKEY* key) {
    Certificate certificate(X509_new());
    unsigned char serial[8] = {};
    if (!certificate || RAND_bytes(serial, sizeof serial) != 1)
        return {};
    serial[0] = (serial[0] & 0x7f) | 0x40; // positive, and never shorter than it looks
    const std::unique_ptr<BIGNUM, Freed<BN_free>> number(BN_bin2bn(serial, sizeof serial, nullptr));
    BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate.get()));
    X509_set_version(certificate.get(), 2);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60 * 60);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validSeconds);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>("Mav reference server"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    if (!addExtension(certificate.get(), NID_basic_constraints, "critical,CA:FALSE") ||
        !addExtension(certificate.get(), NID_key_usage, "critical,digitalSignature") ||
        !addExtension(certificate.get(), NID_ext_key_usage, "serverAuth") ||
        !addExtension(certificate.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1") ||
        X509_sign(certificate.get(), key, EVP_sha256()) == 0)
        return {};
    return certificate;
}

QByteArray contentOf(BIO* memory) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(memory, &data);
    return length > 0 ? QByteArray(data, length) : QByteArray();
}

bool writeFile(const QString& name, const QByteArray& content) {
    QSaveFile file(name);
    return file.open(QIODevice::WriteOnly) && file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
           file.write(content) == content.size() && file.commit();
}

bool makeIdentity(const QString& keyFile, const QString& certificateFile) {
    const Key key(EVP_EC_gen("P-256"));
    const Certificate certificate = key ? selfSigned(key.get()) : Certificate();
    const Memory keyText(BIO_new(BIO_s_mem()));
    const Memory certificateText(BIO_new(BIO_s_mem()));
    if (!certificate || !keyText || !certificateText ||
        PEM_write_bio_PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1 ||
        PEM_write_bio_X509(certificateText.get(), certificate.get()) != 1)
        return false;
    return writeFile(keyFile, contentOf(keyText.get())) && writeFile(certificateFile, contentOf(certificateText.get()));
}

} // namespace

std::optional<QSslConfiguration> serverIdentity(const QString& folder, QString* why) {
    const QString keyFile = QDir(folder).filePath(u"server.key"_s);
    const QString certificateFile = QDir(folder).filePath(u"server.crt"_s);
    if ((!QFile::exists(keyFile) || !QFile::exists(certificateFile)) && !makeIdentity(keyFile, certificateFile)) {
        *why = u"cannot make a certificate in "_s + folder;
        return {};
    }
    QFile keyData(keyFile);
    const QList<QSslCertificate> certificates = QSslCertificate::fromPath(certificateFile);
    const QSslKey key = keyData.open(QIODevice::ReadOnly) ? QSslKey(&keyData, QSsl::Ec) : QSslKey();
    if (certificates.isEmpty() || key.isNull()) {
        *why = u"cannot read "_s + (key.isNull() ? keyFile : certificateFile);
        return {};
    }
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificates.first());
    configuration.setPrivateKey(key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone); // clients show no certificate here
    return configuration;
}

} // namespace Reference
