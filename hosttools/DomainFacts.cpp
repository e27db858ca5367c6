#include "DomainFacts.h"

#include "KeyFile.h"
#include "SystemBus.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr int LongestAccount = 15;
constexpr int MostRealms = 32;

const QString RealmdName = u"org.freedesktop.realmd"_s;
const QString PublicFolder = u"/var/lib/sss/pubconf"_s;

/// What realmd says, as plain values.
struct RealmdAnswer {
    bool isThere = false;
    /// Of the configured Active Directory; empty without one.
    QString domain;
};

bool isActiveDirectory(const QVariant& details) {
    if (!details.canConvert<QDBusArgument>())
        return false;
    const auto argument = details.value<QDBusArgument>();
    bool isFound = false;
    if (argument.currentSignature() != u"a(ss)")
        return false;
    argument.beginArray();
    while (!argument.atEnd()) {
        QString key;
        QString value;
        argument.beginStructure();
        argument >> key >> value;
        argument.endStructure();
        isFound = isFound || (key == u"server-software" && value == u"active-directory");
    }
    argument.endArray();
    return isFound;
}

RealmdAnswer askRealmd(const QDBusConnection& bus, std::chrono::milliseconds limit) {
    const QString path = u"/org/freedesktop/realmd"_s;
    const QVariant list = SystemBus::property(bus, RealmdName, path, RealmdName + u".Provider"_s, u"Realms"_s, limit);
    if (!list.canConvert<QDBusArgument>() || list.value<QDBusArgument>().currentSignature() != u"ao")
        return {};
    const auto realms = qdbus_cast<QList<QDBusObjectPath>>(list);
    for (const QDBusObjectPath& realm : realms.mid(0, MostRealms)) {
        const auto value = [&](const char* name) {
            return SystemBus::property(
                bus, RealmdName, realm.path(), RealmdName + u".Realm"_s, QString::fromLatin1(name), limit);
        };
        // The interface that configures it, empty for a realm that was only found.
        if (!value("Configured").toString().isEmpty() && isActiveDirectory(value("Details")))
            return {true, value("Name").toString()};
    }
    return {true, {}};
}

/// A name that may stand in the answer.
bool isDomainName(const QString& name) {
    static const QRegularExpression form(u"^[A-Za-z0-9_][A-Za-z0-9_.-]{0,253}$"_s);
    return form.match(name).hasMatch();
}

QString firstLabel(const QString& name) {
    return name.section(u'.', 0, 0).toUpper();
}

} // namespace

DomainFacts::Answer DomainFacts::find() const {
    bool areUnreadable = false;
    if (const auto answer = bySssdSettings(&areUnreadable))
        return *answer;
    if (const auto answer = byWinbind())
        return *answer;
    // Nothing but these two makes the computer a member. Settings that nobody may see count where services do not show.
    const bool isServed = m_facts.serviceIsActive(u"sssd"_s) || (areUnreadable && !m_facts.servicesShow()) ||
        m_facts.serviceIsActive(u"winbind"_s) || usersComeFrom(u"winbind"_s);
    if (!isServed)
        return {Finding::no(u"domain.none"_s), {}};
    if (const auto answer = byRealmd())
        return *answer;
    if (const auto answer = bySssdTraces())
        return *answer;
    return {Finding::unknown(u"domain.unreadable"_s), {}};
}

bool DomainFacts::hasDirectoryUsers() const {
    return usersComeFrom(u"sss"_s) || usersComeFrom(u"winbind"_s);
}

DomainFacts::Answer DomainFacts::joined(const QString& name, const QString& account) const {
    if (!isDomainName(name))
        return {Finding::unknown(u"domain.name-damaged"_s), {}};
    JoinedDomain domain{name.toLower(), firstLabel(name), account.chopped(account.endsWith(u'$') ? 1 : 0)};
    const auto global = samba();
    if (global.value(u"realm"_s).toLower() == domain.name && global.contains(u"workgroup"_s))
        domain.flatName = global.value(u"workgroup"_s).toUpper();
    // Without a setting, joining takes the host's short name, cut to what an account may have.
    if (!isDomainName(domain.account))
        domain.account = firstLabel(m_facts.line(u"/proc/sys/kernel/hostname"_s)).left(LongestAccount);
    return {Finding::yes(), domain};
}

std::optional<DomainFacts::Answer> DomainFacts::bySssdSettings(bool* areUnreadable) const {
    const QString folder = u"/etc/sssd"_s;
    QStringList files{folder + u"/sssd.conf"_s};
    for (const QString& name : m_facts.names(folder + u"/conf.d"_s)) {
        if (name.endsWith(u".conf") && !name.startsWith(u'.'))
            files.append(folder + u"/conf.d/"_s + name);
    }
    QByteArray all;
    for (const QString& file : files) {
        const Facts::Text text = m_facts.text(file);
        *areUnreadable = *areUnreadable || (text.state != Facts::State::Read && text.state != Facts::State::Missing);
        all += text.bytes + '\n';
    }
    // Without its key the computer is no member, whatever the settings wish for.
    if (*areUnreadable || !m_facts.exists(u"/etc/krb5.keytab"_s))
        return std::nullopt;
    const KeyFile settings = parseKeyFile(all);
    const QString enabled = settings.value(u"sssd"_s).value(u"domains"_s);
    for (const QString& entry : enabled.split(u',', Qt::SkipEmptyParts)) {
        const QString name = entry.trimmed();
        const auto domain = settings.value(u"domain/"_s + name.toLower());
        if (domain.value(u"id_provider"_s) == u"ad")
            return joined(domain.value(u"ad_domain"_s, name), domain.value(u"ldap_sasl_authid"_s).section(u'@', 0, 0));
    }
    return std::nullopt;
}

std::optional<DomainFacts::Answer> DomainFacts::byWinbind() const {
    const auto global = samba();
    const QString realm = global.value(u"realm"_s);
    const QString security = global.value(u"security"_s, u"auto"_s).toLower();
    const QString role = global.value(u"serverrole"_s).toLower();
    const bool isMember = security == u"ads" || (security == u"auto" && role.startsWith(u"member"));
    const bool isUsed = m_facts.serviceIsActive(u"winbind"_s) || usersComeFrom(u"winbind"_s);
    if (!isUsed || realm.isEmpty() || !isMember)
        return std::nullopt;
    return joined(realm, global.value(u"netbiosname"_s));
}

/// The settings for all of samba: blanks in names do not matter, values may stand in quotes.
QMap<QString, QString> DomainFacts::samba() const {
    QMap<QString, QString> settings;
    const auto global = parseKeyFile(m_facts.text(u"/etc/samba/smb.conf"_s).bytes).value(u"global"_s);
    for (auto entry = global.cbegin(); entry != global.cend(); ++entry) {
        const bool isQuoted = entry->size() > 1 && entry->startsWith(u'"') && entry->endsWith(u'"');
        settings.insert(QString(entry.key()).remove(u' '), isQuoted ? entry->mid(1, entry->size() - 2) : *entry);
    }
    return settings;
}

std::optional<DomainFacts::Answer> DomainFacts::byRealmd() const {
    const auto limit = m_busLimit;
    const auto answer = SystemBus::ask<RealmdAnswer>(
        m_facts, limit, {}, [limit](const QDBusConnection& bus) { return askRealmd(bus, limit); });
    if (!answer.isThere)
        return std::nullopt;
    if (answer.domain.isEmpty())
        return Answer{Finding::no(u"domain.none"_s), {}};
    return joined(answer.domain);
}

/// sssd leaves a file for each realm it has found a server of, and one for each domain of those two kinds of directory
/// that have trusts.
std::optional<DomainFacts::Answer> DomainFacts::bySssdTraces() const {
    if (!m_facts.serviceIsActive(u"sssd"_s))
        return std::nullopt;
    const QString prefix = u"kdcinfo."_s;
    QStringList realms;
    for (const QString& name : m_facts.names(PublicFolder)) {
        if (name.startsWith(prefix))
            realms.append(name.mid(prefix.size()));
    }
    const auto kerberos = parseKeyFile(m_facts.text(u"/etc/krb5.conf"_s).bytes);
    realms.append(kerberos.value(u"libdefaults"_s).value(u"default_realm"_s));
    // The other kind of directory with such files says so itself.
    const auto other = parseKeyFile(m_facts.text(u"/etc/ipa/default.conf"_s).bytes);
    const QString otherRealm = other.value(u"global"_s).value(u"realm"_s);
    static const QRegularExpression replaced(u"[^A-Za-z0-9_-]"_s);
    for (const QString& realm : realms) {
        const QString file = u"/krb5.include.d/domain_realm_"_s + realm.toLower().replace(replaced, u"_"_s);
        if (!realm.isEmpty() && realm != otherRealm && m_facts.exists(PublicFolder + file))
            return joined(realm);
    }
    return std::nullopt;
}

bool DomainFacts::usersComeFrom(const QString& source) const {
    for (const QByteArray& line : m_facts.text(u"/etc/nsswitch.conf"_s).bytes.split('\n')) {
        const QString text = QString::fromUtf8(line).simplified();
        if (text.startsWith(u"passwd:"))
            return text.mid(7).split(u' ').contains(source);
    }
    return false;
}
