#include "UserFacts.h"

#include "DeviceFiles.h"
#include "DeviceUsers.h"

#include <cstring>

#include <pwd.h>
#include <utmpx.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

/// At or below the first seat: a text console or a display, no remote or serial line.
bool isSeat(const QString& line) {
    return line.startsWith(u':') || (line.startsWith(u"tty") && line.size() > 3 && line[3].isDigit());
}

QString field(const char* text, size_t size) {
    return QString::fromUtf8(text, static_cast<qsizetype>(::strnlen(text, size)));
}

/// Numbers that the service manager gives to its portable home folders and to services for as long as they run.
bool isNumberOfServiceManager(long long number) {
    return (number >= 60001 && number <= 60513) || (number >= 61184 && number <= 65519);
}

constexpr long long FirstPerson = 1000;
constexpr long long Nobody = 65534;

} // namespace

QString UserFacts::lastConsoleUser() const {
    const QString now = DeviceUsers::consoleUser(m_facts.root());
    if (!now.isEmpty())
        return now;
    constexpr auto Unit = static_cast<qsizetype>(sizeof(utmpx));
    const QByteArray records = m_facts.tail(u"/var/log/wtmp"_s, Facts::Limit / Unit * Unit, Unit);
    for (qsizetype place = records.size() - Unit; place >= 0; place -= Unit) {
        utmpx record{};
        std::memcpy(&record, records.constData() + place, sizeof record);
        const QString user = field(record.ut_user, sizeof record.ut_user);
        if (record.ut_type == USER_PROCESS && !user.isEmpty() && isSeat(field(record.ut_line, sizeof record.ut_line)))
            return user;
    }
    return {};
}

UserFacts::Origin UserFacts::originOf(const QString& user) const {
    if (isLocal(user))
        return Origin::Local;
    const long long number = numberOf(user);
    if (number < 0)
        return Origin::Unknown;
    return number < FirstPerson || number == Nobody || isNumberOfServiceManager(number) ? Origin::Local
                                                                                        : Origin::Directory;
}

bool UserFacts::isLocal(const QString& user) const {
    if (m_facts.exists(u"/var/lib/systemd/home/%1.identity"_s.arg(user)))
        return true;
    const QByteArray start = user.toUtf8() + ':';
    for (const char16_t* file : {u"/etc/passwd", u"/var/lib/extrausers/passwd"}) {
        const QByteArray accounts = m_facts.text(QString::fromUtf16(file)).bytes;
        if (accounts.startsWith(start) || accounts.contains('\n' + start))
            return true;
    }
    return false;
}

/// Of an account from elsewhere; -1 when nobody knows it.
long long UserFacts::numberOf(const QString& user) const {
    const QString folder = u"/run/systemd/users"_s;
    for (const QString& name : m_facts.names(folder)) {
        bool isNumber = false;
        const long long number = name.toLongLong(&isNumber);
        if (isNumber && DeviceFiles::variables(m_facts.root() + folder + u'/' + name).value(u"NAME"_s) == user)
            return number;
    }
    // The account sources are those of the running system, whatever the root.
    if (!m_facts.root().isEmpty())
        return -1;
    passwd record{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    const bool isFound =
        ::getpwnam_r(user.toUtf8().constData(), &record, buffer.data(), buffer.size(), &found) == 0 && found;
    return isFound ? static_cast<long long>(found->pw_uid) : -1;
}
