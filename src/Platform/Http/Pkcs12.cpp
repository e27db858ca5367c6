#include "Pkcs12.h"

#include <openssl/err.h>
#include <openssl/pkcs12.h>

#include <memory>

namespace Platform::Pkcs12 {

namespace {

template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T* object) const {
        Release(object);
    }
};

void releaseCertificates(STACK_OF(X509) * certificates) {
    sk_X509_pop_free(certificates, X509_free);
}

QByteArray derOf(X509* certificate) {
    QByteArray der(i2d_X509(certificate, nullptr), Qt::Uninitialized);
    auto* bytes = reinterpret_cast<unsigned char*>(der.data());
    i2d_X509(certificate, &bytes);
    return der;
}

} // namespace

int open(const QByteArray& file, const QString& password, QList<QByteArray>* certificates) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(file.constData());
    const std::unique_ptr<PKCS12, Releaser<PKCS12_free>> parsed(
        d2i_PKCS12(nullptr, &bytes, static_cast<long>(file.size())));
    EVP_PKEY* key = nullptr;
    X509* own = nullptr;
    STACK_OF(X509)* others = nullptr;
    QByteArray secret = password.toUtf8();
    const bool isDecoded = parsed != nullptr;
    const bool isVerified = isDecoded && PKCS12_verify_mac(parsed.get(), secret.constData(), -1) == 1;
    const bool isOpen = isVerified && PKCS12_parse(parsed.get(), secret.constData(), &key, &own, &others) == 1;
    OPENSSL_cleanse(secret.data(), static_cast<size_t>(secret.size()));
    const std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>> keyOwner(key);
    const std::unique_ptr<X509, Releaser<X509_free>> ownOwner(own);
    const std::unique_ptr<STACK_OF(X509), Releaser<releaseCertificates>> othersOwner(others);
    // What stays in the error queue would be taken for the failure of somebody else's call.
    ERR_clear_error();
    if (isDecoded && !isVerified)
        return VerifyFailure;
    if (!isOpen || !key || !own)
        return CannotDecode;
    *certificates = {derOf(own)};
    for (int i = 0; i < sk_X509_num(others); ++i)
        certificates->append(derOf(sk_X509_value(others, i)));
    return Success;
}

} // namespace Platform::Pkcs12
