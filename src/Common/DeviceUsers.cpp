#include "DeviceUsers.h"

#include "DeviceFiles.h"

#include <QDir>
#include <QMap>

#include <pwd.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace DeviceUsers {

namespace {

/// User name of a session that a person works in; empty for any other.
QString personOf(const QString& root, const QMap<QString, QString>& session) {
    if (session.value(u"CLASS"_s, u"user"_s) != u"user")
        return {};
    const QString name = session.value(u"USER"_s);
    if (!name.isEmpty())
        return name;
    bool isNumber = false;
    const uint user = session.value(u"UID"_s).toUInt(&isNumber);
    return isNumber ? accountName(root, user) : QString();
}

} // namespace

QString accountName(const QString& root, uid_t user) {
    for (const QByteArray& line : DeviceFiles::bytes(root + u"/etc/passwd"_s).split('\n')) {
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
    const QString sessions = root + u"/run/systemd/sessions/"_s;
    const auto seat = DeviceFiles::variables(root + u"/run/systemd/seats/seat0"_s);
    const QString active = seat.value(u"ACTIVE"_s);
    if (!active.isEmpty() && !active.contains(u'/'))
        return personOf(root, DeviceFiles::variables(sessions + active));
    for (const QString& name : QDir(sessions).entryList(QDir::Files, QDir::Name)) {
        const auto session = DeviceFiles::variables(sessions + name);
        if (session.value(u"SEAT"_s) == u"seat0" && session.value(u"ACTIVE"_s) == u"1")
            return personOf(root, session);
    }
    return {};
}

} // namespace DeviceUsers
