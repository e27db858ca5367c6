#include "Pkcs12.h"

#include "ClientCertificate.h"
#include "HttpSession.h"
#include "SystemLog.h"

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/ssl.h>

namespace Platform {

namespace {

struct Release {
    void operator()(PKCS12* file) const { PKCS12_free(file); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(STACK_OF(X509) * certificates) const { sk_X509_pop_free(certificates, X509_free); }
};

/// What a PKCS#12 file holds. Why one does not open stays in the library's queue of errors.
struct Contents {
    int status = Pkcs12::CannotDecode;
    std::unique_ptr<EVP_PKEY, Release> key = {};
    std::unique_ptr<X509, Release> certificate = {};
    /// Those beside the key's own; may be null.
    std::unique_ptr<STACK_OF(X509), Release> others = {};
};

/// Whether checking the password ends: its rounds are the file's to name, and the usual ones are some thousand.
bool hasBoundedRounds(const PKCS12* file) {
    constexpr long MostRounds = 1 << 20;
    const ASN1_INTEGER* rounds = nullptr;
    PKCS12_get0_mac(nullptr, nullptr, nullptr, &rounds, file);
    return !rounds || (ASN1_INTEGER_get(rounds) > 0 && ASN1_INTEGER_get(rounds) <= MostRounds);
}

Contents contentsOf(const QByteArray& file, const QString& password) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(file.constData());
    const std::unique_ptr<PKCS12, Release> parsed(d2i_PKCS12(nullptr, &bytes, static_cast<long>(file.size())));
    QByteArray secret = password.toUtf8();
    EVP_PKEY* key = nullptr;
    X509* own = nullptr;
    STACK_OF(X509)* others = nullptr;
    const bool isBounded = parsed && hasBoundedRounds(parsed.get());
    const bool isVerified = isBounded && PKCS12_verify_mac(parsed.get(), secret.constData(), -1) == 1;
    const bool isOpen = isVerified && PKCS12_parse(parsed.get(), secret.constData(), &key, &own, &others) == 1;
    OPENSSL_cleanse(secret.data(), static_cast<size_t>(secret.size()));
    int status = Pkcs12::CannotDecode;
    if (isBounded && !isVerified)
        status = Pkcs12::VerifyFailure;
    else if (isOpen && key && own)
        status = Pkcs12::Success;
    Contents contents{status};
    contents.key.reset(key);
    contents.certificate.reset(own);
    contents.others.reset(others);
    return contents;
}

QByteArray derOf(X509* certificate) {
    QByteArray der(i2d_X509(certificate, nullptr), Qt::Uninitialized);
    auto* bytes = reinterpret_cast<unsigned char*>(der.data());
    i2d_X509(certificate, &bytes);
    return der;
}

/// The file's own certificate and its key are put into @p connection; false when any of it is unusable.
bool use(SSL* connection, const Contents& file) {
    return file.status == Pkcs12::Success && SSL_use_certificate(connection, file.certificate.get()) == 1 &&
        SSL_use_PrivateKey(connection, file.key.get()) == 1 && SSL_check_private_key(connection) == 1;
}

int onChallenge(SSL* connection, void* context) {
    const auto& askIdentity = *static_cast<const std::function<ClientIdentity()>*>(context);
    const ClientIdentity identity = askIdentity();
    if (!identity.pkcs12.isEmpty() && !use(connection, contentsOf(identity.pkcs12, identity.password))) {
        SSL_certs_clear(connection);
        char reason[160];
        ERR_error_string_n(ERR_peek_last_error(), reason, sizeof reason);
        systemLog(u"client certificate not usable, none is presented: %1"_s.arg(QLatin1String(reason)));
        // What stays in the error queue would be taken for a failure of the connection.
        ERR_clear_error();
    }
    return 1;
}

} // namespace

CURLcode presentOnChallenge(CURL*, void* context, void* identity) {
    SSL_CTX_set_cert_cb(static_cast<SSL_CTX*>(context), onChallenge, identity);
    return CURLE_OK;
}

int Pkcs12::open(const QByteArray& file, const QString& password, QList<QByteArray>* certificates) {
    const Contents contents = contentsOf(file, password);
    // What stays in the error queue would be taken for the failure of somebody else's call.
    ERR_clear_error();
    if (contents.status != Success)
        return contents.status;
    *certificates = {derOf(contents.certificate.get())};
    for (int i = 0; i < sk_X509_num(contents.others.get()); ++i)
        certificates->append(derOf(sk_X509_value(contents.others.get(), i)));
    return Success;
}

} // namespace Platform
