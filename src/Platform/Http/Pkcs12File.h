#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

#include <openssl/pkcs12.h>

namespace Platform {

/// What a PKCS#12 file holds, owned. A value; why one does not open stays in the library's queue of errors.
class Pkcs12File final {
public:
    enum class State { Open, WrongPassword, NoFile };

    Pkcs12File(const QByteArray& file, const QString& password);

    /// Open: key and certificate are there.
    State state() const { return m_state; }
    EVP_PKEY* key() const { return m_key.get(); }
    X509* certificate() const { return m_certificate.get(); }
    /// Those beside the key's own; may be null.
    STACK_OF(X509) * others() const { return m_others.get(); }

private:
    struct Release {
        void operator()(PKCS12* file) const { PKCS12_free(file); }
        void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
        void operator()(X509* certificate) const { X509_free(certificate); }
        void operator()(STACK_OF(X509) * certificates) const { sk_X509_pop_free(certificates, X509_free); }
    };

    State m_state = State::NoFile;
    std::unique_ptr<EVP_PKEY, Release> m_key;
    std::unique_ptr<X509, Release> m_certificate;
    std::unique_ptr<STACK_OF(X509), Release> m_others;
};

} // namespace Platform
