#include "Scans.h"

#include "Database.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

Scan fromRow(const QVariantMap& row) {
    Scan scan;
    scan.soleid = row[u"soleid"_s].toString();
    scan.deviceid = row[u"deviceid"_s].toString();
    scan.userid = row[u"userid"_s].toString();
    scan.waited = row[u"waited"_s].toBool();
    scan.ticket = row[u"ticket"_s].toString();
    const QString stage = row[u"stage"_s].toString();
    if (stage == "confirmed"_L1)
        scan.stage = Scan::Stage::Confirmed;
    else if (stage == "rejected"_L1)
        scan.stage = Scan::Stage::Rejected;
    return scan;
}

} // namespace

QString stageName(Scan::Stage stage) {
    switch (stage) {
    case Scan::Stage::Confirmed:
        return u"confirmed"_s;
    case Scan::Stage::Rejected:
        return u"rejected"_s;
    case Scan::Stage::Scanned:
        break;
    }
    return u"scanned"_s;
}

void Scans::scanned(const QString& soleid, const QString& deviceid) {
    m_database.run(u"INSERT INTO scans (soleid, deviceid, stage, changed) VALUES (?, ?, 'scanned', ?)"
                   " ON CONFLICT (soleid, deviceid) DO UPDATE SET stage = 'scanned', changed = excluded.changed"
                   " WHERE stage <> 'confirmed'"_s,
        {soleid, deviceid, QDateTime::currentSecsSinceEpoch()});
}

bool Scans::confirm(const QString& soleid, const QString& deviceid, const QString& userid) {
    return m_database.run(u"UPDATE scans SET stage = 'confirmed', userid = ?, waited = 0, ticket = '', changed = ?"
                          " WHERE soleid = ? AND deviceid = ?"_s,
        {userid, QDateTime::currentSecsSinceEpoch(), soleid, deviceid});
}

bool Scans::reject(const QString& soleid, const QString& deviceid) {
    return m_database.run(
        u"UPDATE scans SET stage = 'rejected', userid = '', ticket = '', changed = ? WHERE soleid = ? AND deviceid = ?"_s,
        {QDateTime::currentSecsSinceEpoch(), soleid, deviceid});
}

bool Scans::setWaited(const Scan& scan, bool waited) {
    return m_database.run(
        u"UPDATE scans SET waited = ? WHERE soleid = ? AND deviceid = ?"_s, {int(waited), scan.soleid, scan.deviceid});
}

bool Scans::setTicket(const Scan& scan, const QString& ticket) {
    return m_database.run(
        u"UPDATE scans SET ticket = ? WHERE soleid = ? AND deviceid = ?"_s, {ticket, scan.soleid, scan.deviceid});
}

void Scans::ticketUsed(const QString& ticket) {
    if (!ticket.isEmpty())
        m_database.run(u"DELETE FROM scans WHERE ticket = ?"_s, {ticket});
}

std::optional<Scan> Scans::find(const QString& soleid, const QString& deviceid) const {
    const QVariantMap row =
        m_database.selectOne(u"SELECT * FROM scans WHERE soleid = ? AND deviceid = ?"_s, {soleid, deviceid});
    if (row.isEmpty())
        return {};
    return fromRow(row);
}

QList<Scan> Scans::all() const {
    QList<Scan> scans;
    for (const QVariantMap& row : m_database.select(u"SELECT * FROM scans ORDER BY changed DESC LIMIT 100"_s))
        scans.append(fromRow(row));
    return scans;
}

} // namespace Reference
