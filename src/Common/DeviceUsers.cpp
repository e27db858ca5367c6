#include "DeviceUsers.h"

#include "DeviceFiles.h"

#include <QDir>
#include <QMap>

#include <pwd.h>

#include <vector>

namespace DeviceUsers {

namespace {

/// User name of a session that a person works in; empty for any other.
QString personOf(const QString& root, const QMap<QString, QString>& session) {
    if (session.value(QStringLiteral("CLASS"), QStringLiteral("user")) != u"user")
        return {};
    const QString name = session.value(QStringLiteral("USER"));
    if (!name.isEmpty())
        return name;
    bool isNumber = false;
    const uint user = session.value(QStringLiteral("UID")).toUInt(&isNumber);
    return isNumber ? accountName(root, user) : QString();
}

} // namespace

QString accountName(const QString& root, uid_t user) {
    for (const QByteArray& line : DeviceFiles::bytes(root + QStringLiteral("/etc/passwd")).split('\n')) {
        const QStringList fields = QString::fromUtf8(line).split(u':');
        if (fields.size() >= 3 && fields.at(2) == QString::number(user))
            return fields.at(0);
    }
    passwd record{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (!root.isEmpty() || ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found) != 0 || !found)
        return {};
    return QString::fromLocal8Bit(found->pw_name);
}

QString consoleUser(const QString& root) {
    const QString sessions = root + QStringLiteral("/run/systemd/sessions/");
    const auto seat = DeviceFiles::variables(root + QStringLiteral("/run/systemd/seats/seat0"));
    const QString active = seat.value(QStringLiteral("ACTIVE"));
    if (!active.isEmpty() && !active.contains(u'/'))
        return personOf(root, DeviceFiles::variables(sessions + active));
    for (const QString& name : QDir(sessions).entryList(QDir::Files, QDir::Name)) {
        const auto session = DeviceFiles::variables(sessions + name);
        if (session.value(QStringLiteral("SEAT")) == u"seat0" && session.value(QStringLiteral("ACTIVE")) == u"1")
            return personOf(root, session);
    }
    return {};
}

} // namespace DeviceUsers
