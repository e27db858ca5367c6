#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace Reference {

class Database;

/// One QR sign-in, from the moment a phone opened the code's address.
struct Scan {
    enum class Stage { Scanned, Confirmed, Rejected };
    QString soleid;
    QString deviceid;
    Stage stage = Stage::Scanned;
    QString userid;      ///< who confirmed
    bool waited = false; ///< the client was told to wait for approval; it is told once when that is over
    QString ticket;      ///< handed out and not yet seen again; told again when the poll's answer was lost
};
QString stageName(Scan::Stage stage);

/// Stages of QR sign-ins by the pair of sole identifier and device.
class Scans final {
public:
    explicit Scans(Database& database) : m_database(database) {}

    /// The code was opened: starts the sign-in anew unless it is confirmed already.
    void scanned(const QString& soleid, const QString& deviceid);
    bool confirm(const QString& soleid, const QString& deviceid, const QString& userid);
    bool reject(const QString& soleid, const QString& deviceid);
    bool setWaited(const Scan& scan, bool waited);
    bool setTicket(const Scan& scan, const QString& ticket);
    /// The ticket came back in a request, so it need not be told again: the sign-in is over.
    void ticketUsed(const QString& ticket);

    std::optional<Scan> find(const QString& soleid, const QString& deviceid) const;
    QList<Scan> all() const;

private:
    Database& m_database;
};

} // namespace Reference
