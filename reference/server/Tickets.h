#pragma once

#include <QList>
#include <QString>

namespace Reference {

class Database;

/// A sign-in on one device.
struct Session {
    /// Expired is also what a live session becomes when its time is over.
    enum class State { Unknown, Live, Expired, Revoked, Ended };
    qint64 id = 0;
    QString userid;
    QString deviceid;
    QString kind; ///< "account", "scan", "reset"
    State state = State::Unknown;
    bool rotates = false; ///< the next check hands out a new ticket
    qint64 created = 0;   ///< seconds since 1970, as the two below
    qint64 expires = 0;
    qint64 lastCheck = 0;
};
QString stateName(Session::State state);

/// Sessions and the tickets that prove them. A ticket is random; only its hash is stored.
class Tickets final {
public:
    explicit Tickets(Database& database) : m_database(database) {}

    /// Starts a session; the device's earlier live ones end. @return the ticket, empty when it cannot be stored
    QString issue(const QString& userid, const QString& deviceid, const QString& kind, qint64 lifetimeSeconds);

    struct Checked {
        Session session;
        QString ticket; ///< to be answered: the one given, or its successor
    };
    /// Looks a ticket up and replaces it when that was asked for. The replaced one stays good until its successor is
    /// used, so an answer that was lost on the way signs nobody out.
    Checked check(const QString& ticket);

    /// @return false when the ticket is not that of a live session
    bool end(const QString& ticket);
    void endOfDevice(const QString& deviceid);
    /// @param userid  only that account's; empty: anybody's
    bool hasLive(const QString& deviceid, const QString& userid = {}) const;
    /// As `check()`, without any effect.
    Session look(const QString& ticket) const;
    QList<Session> all() const;

    enum class Change { Expire, Revoke, Rotate, End };
    /// Changes the live sessions selected by the values that are set; with none set, all. @return how many
    int change(Change change, qint64 id, const QString& userid, const QString& deviceid);

private:
    Session find(const QByteArray& hash) const;

    Database& m_database;
};

} // namespace Reference
