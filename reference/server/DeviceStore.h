#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace Reference {

class Database;

struct Device {
    /// What the server thinks of the device; told to the client as a state.
    enum class Standing {
        New,     ///< nobody decided about it
        Waiting, ///< for an administrator
        Approved,
        Rejected,
        Deregistered, ///< taken out of use
    };
    QString deviceid;
    QString hostname;
    QString ip;
    QString mac;
    QString os;
    QString loginUser;
    Standing standing = Standing::New;
    bool blocked = false;
    QString boundUserid; ///< the only account that may sign in there; empty: any
    qint64 lastSeen = 0; ///< seconds since 1970
};

/// "new", "waiting", "approved", "rejected", "deregistered"
QString standingName(Device::Standing standing);
std::optional<Device::Standing> standingFromName(const QString& name);

/// The devices that were ever seen, by the identifier that they send.
class DeviceStore final {
public:
    explicit DeviceStore(Database& database) : m_database(database) {}

    /// Adds the device or brings its facts up to date; an opened request's fields carry them. Facts not sent are kept.
    /// @return the device as it then is
    Device see(const QJsonObject& fields);
    std::optional<Device> find(const QString& deviceid) const;
    QList<Device> all() const;

    bool setStanding(const QString& deviceid, Device::Standing standing);
    bool setBlocked(const QString& deviceid, bool on);
    /// @param userid  empty: any account may use the device again
    bool bind(const QString& deviceid, const QString& userid);
    bool forget(const QString& deviceid);

private:
    Database& m_database;
};

} // namespace Reference
