#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

#include <openssl/evp.h>
#include <openssl/x509v3.h>

#include <memory>

/// Keys and certificates by libcrypto, for the server's own identity and for its certificate authority.
namespace Reference {

template <auto Free>
struct Freed {
    template <typename T>
    void operator()(T* pointer) const {
        Free(pointer);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Freed<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freed<X509_free>>;

struct CertificatePlan {
    QString commonName;
    QString unit; ///< second part of the name; empty: none
    qint64 validSeconds = 0;
    QList<QPair<int, const char*>> extensions; ///< by number, values as in a configuration file
    X509* issuer = nullptr;                    ///< null: self-signed
    EVP_PKEY* issuerKey = nullptr;
};

Key makeKey();
/// A certificate of @p key under a random serial number; null when libcrypto refuses.
Certificate makeCertificate(const CertificatePlan& plan, EVP_PKEY* key);

QByteArray pemOf(EVP_PKEY* key);
QByteArray pemOf(X509* certificate);
QByteArray derOf(X509* certificate);
Key keyFromPem(const QByteArray& pem);
Certificate certificateFromPem(const QByteArray& pem);
/// Upper-case hexadecimal digits.
QString serialOf(X509* certificate);

/// Replaces a file in one step; only its owner may read it.
bool writePrivate(const QString& name, const QByteArray& content);

} // namespace Reference
