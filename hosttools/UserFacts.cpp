#include "UserFacts.h"

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

/// Whether both name one account, when the domain's names are the same domain and a missing one may be it.
bool isSame(const QString& left, const QString& right, const QStringList& domains) {
    const auto one = AccountName::parsed(left);
    const auto other = AccountName::parsed(right);
    const auto isOwn = [&domains](const QString& name) {
        return name.isEmpty() || domains.contains(name, Qt::CaseInsensitive);
    };
    return one.shortName.compare(other.shortName, Qt::CaseInsensitive) == 0 &&
        (one.domain.compare(other.domain, Qt::CaseInsensitive) == 0 || (isOwn(one.domain) && isOwn(other.domain)));
}

template <typename Key>
const passwd* found(
    int (*look)(Key, passwd*, char*, size_t, passwd**), Key key, passwd& record, std::vector<char>& buffer) {
    passwd* result = nullptr;
    buffer.resize(16384);
    return look(key, &record, buffer.data(), buffer.size(), &result) == 0 ? result : nullptr;
}

} // namespace

AccountName AccountName::parsed(const QString& name) {
    const qsizetype backslash = name.indexOf(u'\\');
    if (backslash > 0)
        return {name.mid(backslash + 1), name.left(backslash)};
    const qsizetype at = name.lastIndexOf(u'@');
    return at > 0 ? AccountName{name.left(at), name.mid(at + 1)} : AccountName{name, {}};
}

QString UserFacts::lastConsoleUserShort() const {
    const QString user = lastConsoleUser();
    const auto name = AccountName::parsed(user);
    return name.domain.isEmpty() || isLocal(user) || isLocal(name.shortName) ? user : name.shortName;
}

QString UserFacts::atFirstSeat() const {
    const QString sessions = u"/run/systemd/sessions/"_s;
    QString active = m_facts.variables(u"/run/systemd/seats/seat0"_s).value(u"ACTIVE"_s);
    for (const QString& name : active.isEmpty() ? m_facts.names(sessions) : QStringList()) {
        const auto session = m_facts.variables(sessions + name);
        if (session.value(u"SEAT"_s) == u"seat0" && session.value(u"ACTIVE"_s) == u"1" && active.isEmpty())
            active = name;
    }
    const auto session = active.contains(u'/') ? QMap<QString, QString>() : m_facts.variables(sessions + active);
    const QString name = session.value(u"USER"_s);
    if (session.value(u"CLASS"_s, u"user"_s) != u"user")
        return {};
    return name.isEmpty() ? accountName(session.value(u"UID"_s)) : name;
}

QString UserFacts::accountName(const QString& number) const {
    for (const QByteArray& line : m_facts.text(u"/etc/passwd"_s).bytes.split('\n')) {
        const QStringList fields = QString::fromUtf8(line).split(u':');
        if (fields.size() >= 3 && fields[2] == number)
            return fields[0];
    }
    passwd record{};
    std::vector<char> buffer;
    bool isNumber = false;
    const uint user = number.toUInt(&isNumber);
    const passwd* const entry =
        isNumber && m_facts.root().isEmpty() ? found<uid_t>(::getpwuid_r, user, record, buffer) : nullptr;
    return entry ? QString::fromLocal8Bit(entry->pw_name) : QString();
}

QString UserFacts::lastConsoleUser() const {
    const QString now = atFirstSeat();
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

UserFacts::Origin UserFacts::originOf(const QString& user, const QStringList& domains) const {
    if (isLocal(user))
        return Origin::Local;
    const long long number = numberOf(user, domains);
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
long long UserFacts::numberOf(const QString& user, const QStringList& domains) const {
    const QString folder = u"/run/systemd/users/"_s;
    for (const QString& name : m_facts.names(folder)) {
        bool isNumber = false;
        const long long number = name.toLongLong(&isNumber);
        if (isNumber && isSame(m_facts.variables(folder + name).value(u"NAME"_s), user, domains))
            return number;
    }
    // The account sources are those of the running system, whatever the root.
    const QString shortName = AccountName::parsed(user).shortName;
    QStringList names{user};
    for (const QString& domain : domains)
        names += {shortName + u'@' + domain, domain + u'\\' + shortName};
    for (const QString& name : m_facts.root().isEmpty() ? names : QStringList()) {
        passwd record{};
        std::vector<char> buffer;
        const QByteArray bytes = name.toUtf8();
        if (const passwd* entry = found<const char*>(::getpwnam_r, bytes.constData(), record, buffer))
            return entry->pw_uid;
    }
    return -1;
}
