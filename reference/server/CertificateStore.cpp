#include "CertificateStore.h"

#include "Database.h"

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

QString plain(const QString& serial) {
    return serial.toUpper().remove(u':').remove(u' ');
}

IssuedCertificate certificateOf(const QVariantMap& row) {
    return {row[u"serial"_s].toString(), row[u"userid"_s].toString(), row[u"deviceid"_s].toString(),
        row[u"issued"_s].toLongLong(), row[u"expires"_s].toLongLong(), row[u"revoked"_s].toBool()};
}

} // namespace

bool CertificateStore::add(const IssuedCertificate& certificate) {
    return m_database.run(
        u"INSERT INTO certificates (serial, userid, deviceid, issued, expires) VALUES (?, ?, ?, ?, ?)"_s,
        {certificate.serial, certificate.userid, certificate.deviceid, certificate.issued, certificate.expires});
}

std::optional<IssuedCertificate> CertificateStore::find(const QString& serial) const {
    const QVariantMap row = m_database.selectOne(u"SELECT * FROM certificates WHERE serial = ?"_s, {plain(serial)});
    if (row.isEmpty())
        return {};
    return certificateOf(row);
}

QList<IssuedCertificate> CertificateStore::all() const {
    QList<IssuedCertificate> certificates;
    for (const QVariantMap& row :
        m_database.select(u"SELECT * FROM certificates ORDER BY issued DESC, rowid DESC LIMIT 100"_s))
        certificates.append(certificateOf(row));
    return certificates;
}

bool CertificateStore::revoke(const QString& serial) {
    return m_database.run(u"UPDATE certificates SET revoked = 1 WHERE serial = ? AND revoked = 0"_s, {plain(serial)});
}

} // namespace Reference
