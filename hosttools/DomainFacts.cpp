#include "DomainFacts.h"

#include "KeyFile.h"
#include "SystemBus.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QRegularExpression>

namespace {

constexpr int LongestAccount = 15;
constexpr int MostRealms = 32;

const QString RealmdName = QStringLiteral("org.freedesktop.realmd");
const QString PublicFolder = QStringLiteral("/var/lib/sss/pubconf");

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
    const QString path = QStringLiteral("/org/freedesktop/realmd");
    const QVariant list = SystemBus::property(bus, RealmdName, path, RealmdName + QStringLiteral(".Provider"),
                                              QStringLiteral("Realms"), limit);
    if (!list.canConvert<QDBusArgument>() || list.value<QDBusArgument>().currentSignature() != u"ao")
        return {};
    const auto realms = qdbus_cast<QList<QDBusObjectPath>>(list);
    for (const QDBusObjectPath& realm : realms.mid(0, MostRealms)) {
        const auto value = [&](const char* name) {
            return SystemBus::property(bus, RealmdName, realm.path(), RealmdName + QStringLiteral(".Realm"),
                                       QString::fromLatin1(name), limit);
        };
        // The interface that configures it, empty for a realm that was only found.
        if (!value("Configured").toString().isEmpty() && isActiveDirectory(value("Details")))
            return {true, value("Name").toString()};
    }
    return {true, {}};
}

/// A name that may stand in the answer.
bool isDomainName(const QString& name) {
    static const QRegularExpression form(QStringLiteral("^[A-Za-z0-9_][A-Za-z0-9_.-]{0,253}$"));
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
    const bool servicesShow =
        m_facts.exists(QStringLiteral("/run/systemd/units")) || m_facts.exists(QStringLiteral("/run/openrc"));
    const bool isServed = m_facts.serviceIsActive(QStringLiteral("sssd")) || (areUnreadable && !servicesShow) ||
                          m_facts.serviceIsActive(QStringLiteral("winbind")) ||
                          usersComeFrom(QStringLiteral("winbind"));
    if (!isServed)
        return {Finding::no(QStringLiteral("neither sssd nor winbind is at work")), {}};
    if (const auto answer = byRealmd())
        return *answer;
    if (const auto answer = bySssdTraces())
        return *answer;
    return {Finding::unknown(QStringLiteral("which directory sssd or winbind serves cannot be read without privilege")),
            {}};
}

bool DomainFacts::hasDirectoryUsers() const {
    return usersComeFrom(QStringLiteral("sss")) || usersComeFrom(QStringLiteral("winbind"));
}

DomainFacts::Answer DomainFacts::joined(const QString& name, const QString& account) const {
    if (!isDomainName(name))
        return {Finding::unknown(QStringLiteral("the name of the directory is damaged")), {}};
    JoinedDomain domain{name.toLower(), firstLabel(name), account.chopped(account.endsWith(u'$') ? 1 : 0)};
    const KeyFile samba = parseKeyFile(m_facts.text(QStringLiteral("/etc/samba/smb.conf")).bytes);
    const auto global = samba.value(QStringLiteral("global"));
    if (global.value(QStringLiteral("realm")).toLower() == domain.name && global.contains(QStringLiteral("workgroup")))
        domain.flatName = global.value(QStringLiteral("workgroup")).toUpper();
    // Without a setting, joining takes the host's short name, cut to what an account may have.
    if (!isDomainName(domain.account))
        domain.account = firstLabel(m_facts.line(QStringLiteral("/proc/sys/kernel/hostname"))).left(LongestAccount);
    return {Finding::yes(), domain};
}

std::optional<DomainFacts::Answer> DomainFacts::bySssdSettings(bool* areUnreadable) const {
    const QString folder = QStringLiteral("/etc/sssd");
    QStringList files{folder + QStringLiteral("/sssd.conf")};
    for (const QString& name : m_facts.names(folder + QStringLiteral("/conf.d"))) {
        if (name.endsWith(u".conf") && !name.startsWith(u'.'))
            files.append(folder + QStringLiteral("/conf.d/") + name);
    }
    QByteArray all;
    for (const QString& file : files) {
        const Facts::Text text = m_facts.text(file);
        *areUnreadable = *areUnreadable || (text.state != Facts::State::Read && text.state != Facts::State::Missing);
        all += text.bytes + '\n';
    }
    // Without its key the computer is no member, whatever the settings wish for.
    if (*areUnreadable || !m_facts.exists(QStringLiteral("/etc/krb5.keytab")))
        return std::nullopt;
    const KeyFile settings = parseKeyFile(all);
    const QString enabled = settings.value(QStringLiteral("sssd")).value(QStringLiteral("domains"));
    for (const QString& entry : enabled.split(u',', Qt::SkipEmptyParts)) {
        const QString name = entry.trimmed();
        const auto domain = settings.value(QStringLiteral("domain/") + name.toLower());
        if (domain.value(QStringLiteral("id_provider")) == u"ad")
            return joined(domain.value(QStringLiteral("ad_domain"), name),
                          domain.value(QStringLiteral("ldap_sasl_authid")).section(u'@', 0, 0));
    }
    return std::nullopt;
}

std::optional<DomainFacts::Answer> DomainFacts::byWinbind() const {
    const Facts::Text text = m_facts.text(QStringLiteral("/etc/samba/smb.conf"));
    const auto global = parseKeyFile(text.bytes).value(QStringLiteral("global"));
    const QString realm = global.value(QStringLiteral("realm"));
    const bool isUsed = m_facts.serviceIsActive(QStringLiteral("winbind")) || usersComeFrom(QStringLiteral("winbind"));
    if (!isUsed || realm.isEmpty() || global.value(QStringLiteral("security")).toLower() != u"ads")
        return std::nullopt;
    return joined(realm, global.value(QStringLiteral("netbios name")));
}

std::optional<DomainFacts::Answer> DomainFacts::byRealmd() const {
    const auto limit = m_busLimit;
    const auto answer = SystemBus::ask<RealmdAnswer>(
        m_facts, limit, {}, [limit](const QDBusConnection& bus) { return askRealmd(bus, limit); });
    if (!answer.isThere)
        return std::nullopt;
    if (answer.domain.isEmpty())
        return Answer{Finding::no(QStringLiteral("realmd knows of no Active Directory")), {}};
    return joined(answer.domain);
}

/// sssd leaves a file for each realm it has found a server of, and one for each domain of those two kinds of directory
/// that have trusts.
std::optional<DomainFacts::Answer> DomainFacts::bySssdTraces() const {
    if (!m_facts.serviceIsActive(QStringLiteral("sssd")))
        return std::nullopt;
    const QString prefix = QStringLiteral("kdcinfo.");
    QStringList realms;
    for (const QString& name : m_facts.names(PublicFolder)) {
        if (name.startsWith(prefix))
            realms.append(name.mid(prefix.size()));
    }
    const auto kerberos = parseKeyFile(m_facts.text(QStringLiteral("/etc/krb5.conf")).bytes);
    realms.append(kerberos.value(QStringLiteral("libdefaults")).value(QStringLiteral("default_realm")));
    // The other kind of directory with such files says so itself.
    const auto other = parseKeyFile(m_facts.text(QStringLiteral("/etc/ipa/default.conf")).bytes);
    const QString otherRealm = other.value(QStringLiteral("global")).value(QStringLiteral("realm"));
    static const QRegularExpression replaced(QStringLiteral("[^A-Za-z0-9_-]"));
    for (const QString& realm : realms) {
        const QString file =
            QStringLiteral("/krb5.include.d/domain_realm_") + realm.toLower().replace(replaced, QStringLiteral("_"));
        if (!realm.isEmpty() && realm != otherRealm && m_facts.exists(PublicFolder + file))
            return joined(realm);
    }
    return std::nullopt;
}

bool DomainFacts::usersComeFrom(const QString& source) const {
    for (const QByteArray& line : m_facts.text(QStringLiteral("/etc/nsswitch.conf")).bytes.split('\n')) {
        const QString text = QString::fromUtf8(line).simplified();
        if (text.startsWith(u"passwd:"))
            return text.mid(7).split(u' ').contains(source);
    }
    return false;
}
