#pragma once

#include "X509Making.h"

#include <optional>

namespace Reference {

/// The certificate authority for network access: a root, an intermediate, and the devices' identities below it.
class Authority final {
public:
    struct Issued {
        QString serial;
        QString commonName;
        QByteArray pkcs12; ///< key, certificate and chain under the password
        QString password;
    };

    /// Reads "ca-root" and "ca-sub", each with ".key" and ".crt", from @p folder; all four are made when one is
    /// missing. @param why  receives the reason when nothing is returned
    static std::optional<Authority> open(const QString& folder, QString* why);

    /// A new identity for a user's device. Nothing when libcrypto refuses.
    std::optional<Issued> issue(const QString& userid, const QString& deviceid, qint64 validSeconds) const;
    /// In DER, as the next.
    QByteArray root() const { return derOf(m_root.certificate.get()); }
    QByteArray intermediate() const { return derOf(m_intermediate.certificate.get()); }

private:
    struct Signer {
        Key key;
        Certificate certificate;
        explicit operator bool() const { return key && certificate; }
    };

    Authority(Signer root, Signer intermediate) : m_root(std::move(root)), m_intermediate(std::move(intermediate)) {}
    static bool make(const QString& base);
    static Signer read(const QString& file);

    Signer m_root;
    Signer m_intermediate;
};

} // namespace Reference
