#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace Reference {

class Database;

/// A certificate that was issued; its key is not kept.
struct IssuedCertificate {
    QString serial; ///< upper-case hexadecimal digits
    QString userid;
    QString deviceid;
    qint64 issued = 0; ///< seconds since 1970, as the next
    qint64 expires = 0;
    bool revoked = false;
};

/// The certificates that were issued for network access.
class CertificateStore final {
public:
    explicit CertificateStore(Database& database) : m_database(database) {}

    bool add(const IssuedCertificate& certificate);
    /// @param serial  in either case, with or without colons
    std::optional<IssuedCertificate> find(const QString& serial) const;
    /// Newest first.
    QList<IssuedCertificate> all() const;
    /// @return false for one that is unknown or revoked already
    bool revoke(const QString& serial);

private:
    Database& m_database;
};

} // namespace Reference
