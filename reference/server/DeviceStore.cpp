#include "DeviceStore.h"

#include "Database.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

Device fromRow(const QVariantMap& row) {
    Device device;
    device.deviceid = row[u"deviceid"_s].toString();
    device.hostname = row[u"hostname"_s].toString();
    device.ip = row[u"ip"_s].toString();
    device.mac = row[u"mac"_s].toString();
    device.os = row[u"os"_s].toString();
    device.loginUser = row[u"login_user"_s].toString();
    device.standing = standingFromName(row[u"standing"_s].toString()).value_or(Device::Standing::New);
    device.blocked = row[u"blocked"_s].toBool();
    device.boundUserid = row[u"bound_userid"_s].toString();
    device.lastSeen = row[u"last_seen"_s].toLongLong();
    return device;
}

} // namespace

QString standingName(Device::Standing standing) {
    switch (standing) {
    case Device::Standing::Waiting:
        return u"waiting"_s;
    case Device::Standing::Approved:
        return u"approved"_s;
    case Device::Standing::Rejected:
        return u"rejected"_s;
    case Device::Standing::Deregistered:
        return u"deregistered"_s;
    case Device::Standing::New:
        break;
    }
    return u"new"_s;
}

std::optional<Device::Standing> standingFromName(const QString& name) {
    for (const auto standing : {Device::Standing::New, Device::Standing::Waiting, Device::Standing::Approved,
             Device::Standing::Rejected, Device::Standing::Deregistered}) {
        if (standingName(standing) == name)
            return standing;
    }
    return {};
}

Device DeviceStore::see(const QJsonObject& fields) {
    const QString deviceid = fields[u"deviceid"_s].toString();
    m_database.run(u"INSERT OR IGNORE INTO devices (deviceid) VALUES (?)"_s, {deviceid});
    const auto fact = [&fields](const QString& name) { return fields.value(name).toString(); };
    m_database.run(u"UPDATE devices SET last_seen = ?, hostname = coalesce(nullif(?, ''), hostname),"
                   " ip = coalesce(nullif(?, ''), ip), mac = coalesce(nullif(?, ''), mac),"
                   " os = coalesce(nullif(?, ''), os), login_user = coalesce(nullif(?, ''), login_user)"
                   " WHERE deviceid = ?"_s,
        {QDateTime::currentSecsSinceEpoch(), fact(u"hostname"_s), fact(u"ip"_s), fact(u"mac"_s), fact(u"os"_s),
            fact(u"login_user"_s), deviceid});
    Device unsaved;
    unsaved.deviceid = deviceid;
    return find(deviceid).value_or(unsaved);
}

std::optional<Device> DeviceStore::find(const QString& deviceid) const {
    const QVariantMap row = m_database.selectOne(u"SELECT * FROM devices WHERE deviceid = ?"_s, {deviceid});
    if (row.isEmpty())
        return {};
    return fromRow(row);
}

QList<Device> DeviceStore::all() const {
    QList<Device> devices;
    for (const QVariantMap& row : m_database.select(u"SELECT * FROM devices ORDER BY last_seen DESC, deviceid"_s))
        devices.append(fromRow(row));
    return devices;
}

bool DeviceStore::setStanding(const QString& deviceid, Device::Standing standing) {
    return m_database.run(u"UPDATE devices SET standing = ? WHERE deviceid = ?"_s, {standingName(standing), deviceid});
}

bool DeviceStore::setBlocked(const QString& deviceid, bool on) {
    return m_database.run(u"UPDATE devices SET blocked = ? WHERE deviceid = ?"_s, {int(on), deviceid});
}

bool DeviceStore::bind(const QString& deviceid, const QString& userid) {
    return m_database.run(u"UPDATE devices SET bound_userid = ? WHERE deviceid = ?"_s, {userid, deviceid});
}

bool DeviceStore::forget(const QString& deviceid) {
    return m_database.run(u"DELETE FROM devices WHERE deviceid = ?"_s, {deviceid});
}

} // namespace Reference
