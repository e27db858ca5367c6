#include "ClientCertificate.h"

#include "SystemLog.h"

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/ssl.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T* object) const {
        Release(object);
    }
};

/// The PKCS#12 file's own certificate and its key are put into @p connection; false when any of it is unusable.
bool useIdentity(SSL* connection, const ClientIdentity& identity) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(identity.pkcs12.constData());
    const std::unique_ptr<PKCS12, Releaser<PKCS12_free>> file(
        d2i_PKCS12(nullptr, &bytes, static_cast<long>(identity.pkcs12.size())));
    if (!file)
        return false;
    QByteArray password = identity.password.toUtf8();
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    const bool isOpen = PKCS12_parse(file.get(), password.constData(), &key, &certificate, nullptr) == 1;
    OPENSSL_cleanse(password.data(), static_cast<size_t>(password.size()));
    const std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>> keyOwner(key);
    const std::unique_ptr<X509, Releaser<X509_free>> certificateOwner(certificate);
    return isOpen && key && certificate && SSL_use_certificate(connection, certificate) == 1 &&
        SSL_use_PrivateKey(connection, key) == 1 && SSL_check_private_key(connection) == 1;
}

int onChallenge(SSL* connection, void* context) {
    const auto& askIdentity = *static_cast<const std::function<ClientIdentity()>*>(context);
    const ClientIdentity identity = askIdentity();
    if (!identity.pkcs12.isEmpty() && !useIdentity(connection, identity)) {
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

void presentOnChallenge(SSL_CTX* context, const std::function<ClientIdentity()>* identity) {
    SSL_CTX_set_cert_cb(context, onChallenge, const_cast<std::function<ClientIdentity()>*>(identity));
}

} // namespace Platform
