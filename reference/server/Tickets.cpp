#include "Tickets.h"

#include "Database.h"
#include "Secrets.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr int ticketLength = 43; // more than 256 bits

qint64 now() {
    return QDateTime::currentSecsSinceEpoch();
}

Session fromRow(const QVariantMap& row) {
    Session session;
    if (row.isEmpty())
        return session;
    session.id = row[u"id"_s].toLongLong();
    session.userid = row[u"userid"_s].toString();
    session.deviceid = row[u"deviceid"_s].toString();
    session.kind = row[u"kind"_s].toString();
    session.rotates = row[u"rotate"_s].toBool();
    session.created = row[u"created"_s].toLongLong();
    session.expires = row[u"expires"_s].toLongLong();
    session.lastCheck = row[u"last_check"_s].toLongLong();
    const QString state = row[u"state"_s].toString();
    if (state == "revoked"_L1)
        session.state = Session::State::Revoked;
    else if (state == "ended"_L1)
        session.state = Session::State::Ended;
    else
        session.state = session.expires > now() ? Session::State::Live : Session::State::Expired;
    return session;
}

} // namespace

QString stateName(Session::State state) {
    switch (state) {
    case Session::State::Live:
        return u"live"_s;
    case Session::State::Expired:
        return u"expired"_s;
    case Session::State::Revoked:
        return u"revoked"_s;
    case Session::State::Ended:
        return u"ended"_s;
    case Session::State::Unknown:
        break;
    }
    return u"unknown"_s;
}

QString Tickets::issue(const QString& userid, const QString& deviceid, const QString& kind, qint64 lifetimeSeconds) {
    endOfDevice(deviceid);
    const QString ticket = randomText(ticketLength);
    const bool stored = m_database.run(
        u"INSERT INTO sessions (userid, deviceid, kind, ticket_hash, created, expires) VALUES (?, ?, ?, ?, ?, ?)"_s,
        {userid, deviceid, kind, sha256(ticket), now(), now() + lifetimeSeconds});
    return stored ? ticket : QString();
}

Session Tickets::find(const QByteArray& hash) const {
    return fromRow(
        m_database.selectOne(u"SELECT * FROM sessions WHERE ticket_hash = ? OR previous_hash = ?"_s, {hash, hash}));
}

Tickets::Checked Tickets::check(const QString& ticket) {
    const QByteArray hash = sha256(ticket);
    Checked checked{find(hash), ticket};
    const Session& session = checked.session;
    if (session.state != Session::State::Live)
        return checked;
    const bool current =
        m_database.run(u"UPDATE sessions SET last_check = ?, previous_hash = NULL WHERE id = ? AND ticket_hash = ?"_s,
            {now(), session.id, hash});
    if (current && !session.rotates)
        return checked;
    const QString successor = randomText(ticketLength);
    if (m_database.run(
            u"UPDATE sessions SET last_check = ?, previous_hash = ?, ticket_hash = ?, rotate = 0 WHERE id = ?"_s,
            {now(), hash, sha256(successor), session.id}))
        checked.ticket = successor;
    return checked;
}

bool Tickets::end(const QString& ticket) {
    const Session session = find(sha256(ticket));
    return session.state == Session::State::Live && change(Change::End, session.id, {}, {}) > 0;
}

void Tickets::endOfDevice(const QString& deviceid) {
    if (!deviceid.isEmpty())
        change(Change::End, 0, {}, deviceid);
}

bool Tickets::hasLive(const QString& deviceid, const QString& userid) const {
    return !m_database
                .selectOne(u"SELECT id FROM sessions WHERE deviceid = ? AND state = 'live' AND expires > ?"
                           " AND userid = coalesce(nullif(?, ''), userid)"_s,
                    {deviceid, now(), userid})
                .isEmpty();
}

Session Tickets::look(const QString& ticket) const {
    return find(sha256(ticket));
}

QList<Session> Tickets::all() const {
    QList<Session> sessions;
    for (const QVariantMap& row : m_database.select(u"SELECT * FROM sessions ORDER BY id DESC LIMIT 200"_s))
        sessions.append(fromRow(row));
    return sessions;
}

int Tickets::change(Change change, qint64 id, const QString& userid, const QString& deviceid) {
    const QList<QVariantMap> rows = m_database.select(
        u"SELECT id FROM sessions WHERE state = 'live' AND expires > ? AND id = coalesce(nullif(?, 0), id)"
        " AND userid = coalesce(nullif(?, ''), userid) AND deviceid = coalesce(nullif(?, ''), deviceid)"_s,
        {now(), id, userid, deviceid});
    int changed = 0;
    for (const QVariantMap& row : rows) {
        const QVariant selected = row[u"id"_s];
        bool done = false;
        switch (change) {
        case Change::Expire:
            done = m_database.run(u"UPDATE sessions SET expires = ? WHERE id = ?"_s, {now(), selected});
            break;
        case Change::Revoke:
            done = m_database.run(u"UPDATE sessions SET state = 'revoked' WHERE id = ?"_s, {selected});
            break;
        case Change::End:
            done = m_database.run(u"UPDATE sessions SET state = 'ended' WHERE id = ?"_s, {selected});
            break;
        case Change::Rotate:
            done = m_database.run(u"UPDATE sessions SET rotate = 1 WHERE id = ?"_s, {selected});
            break;
        }
        changed += done ? 1 : 0;
    }
    return changed;
}

} // namespace Reference
