#include "FirewallFacts.h"

#include "DeviceFiles.h"
#include "NftablesRules.h"
#include "SystemBus.h"

namespace {

const QString FirewalldName = QStringLiteral("org.fedoraproject.FirewallD1");
const QString FirewalldPath = QStringLiteral("/org/fedoraproject/FirewallD1");

struct FirewalldState {
    QString state;
    QString zone;
};

FirewalldState askFirewalld(const QDBusConnection& bus, std::chrono::milliseconds limit) {
    return {SystemBus::property(bus, FirewalldName, FirewalldPath, FirewalldName, QStringLiteral("state"), limit)
                .toString(),
            SystemBus::call(bus,
                            QDBusMessage::createMethodCall(FirewalldName, FirewalldPath, FirewalldName,
                                                           QStringLiteral("getDefaultZone")),
                            limit)
                .toString()};
}

/// Why a file that counts gives nothing.
QString unreadable(const QString& path, Facts::State state) {
    return state == Facts::State::Denied    ? QStringLiteral("%1 cannot be read without privilege").arg(path)
           : state == Facts::State::Missing ? QStringLiteral("%1 does not exist").arg(path)
                                            : QStringLiteral("%1 cannot be read").arg(path);
}

} // namespace

Finding FirewallFacts::find() const {
    const Finding notThere = Finding::no(QStringLiteral("no firewall is at work"));
    Finding result = notThere;
    for (const Finding& part : {firewalld(), ufw(), nftables(), iptables()}) {
        if (part.isYes())
            return part;
        if (part.isUnknown() && result.isNo())
            result = part;
    }
    if (result.isUnknown())
        return result;
    // Nobody's service refuses; rules from elsewhere may.
    return kernelFilter().isNo()
               ? notThere
               : Finding::unknown(QStringLiteral("rules loaded by hand cannot be read without privilege"));
}

Finding FirewallFacts::firewalld() const {
    if (!m_facts.serviceIsActive(QStringLiteral("firewalld")))
        return Finding::no(QStringLiteral("firewalld does not run"));
    const auto limit = m_busLimit;
    const auto answer = SystemBus::ask<FirewalldState>(
        m_facts, limit, {}, [limit](const QDBusConnection& bus) { return askFirewalld(bus, limit); });
    if (answer.state.isEmpty())
        return Finding::unknown(QStringLiteral("firewalld runs and does not tell its state"));
    if (answer.state != u"RUNNING")
        return Finding::no(QStringLiteral("firewalld is in the state %1").arg(answer.state));
    // Who may not ask for the zone is left with the state; every other zone refuses by default.
    if (answer.zone == u"trusted")
        return Finding::no(QStringLiteral("firewalld's default zone trusts everybody"));
    return Finding::yes();
}

Finding FirewallFacts::ufw() const {
    const QString path = QStringLiteral("/etc/ufw/ufw.conf");
    const Facts::State state = m_facts.text(path).state;
    if (state == Facts::State::Missing)
        return Finding::no(QStringLiteral("ufw is not installed"));
    if (state != Facts::State::Read)
        return Finding::unknown(unreadable(path, state));
    const auto settings = DeviceFiles::variables(m_facts.root() + path);
    if (settings.value(QStringLiteral("ENABLED")).toLower() != u"yes")
        return Finding::no(QStringLiteral("ufw is not enabled"));
    if (!m_facts.serviceIsActive(QStringLiteral("ufw")) && kernelFilter().isNo())
        return Finding::no(QStringLiteral("ufw is enabled and not loaded"));
    const QString defaults = QStringLiteral("/etc/default/ufw");
    const Facts::State defaultsState = m_facts.text(defaults).state;
    if (defaultsState != Facts::State::Read)
        return Finding::unknown(unreadable(defaults, defaultsState));
    const QString policy =
        DeviceFiles::variables(m_facts.root() + defaults).value(QStringLiteral("DEFAULT_INPUT_POLICY")).toUpper();
    if (policy == u"ACCEPT")
        return Finding::no(QStringLiteral("ufw allows incoming traffic by default"));
    return policy == u"DROP" || policy == u"REJECT"
               ? Finding::yes()
               : Finding::unknown(QStringLiteral("%1 does not tell what is done by default").arg(defaults));
}

Finding FirewallFacts::nftables() const {
    if (!m_facts.serviceIsActive(QStringLiteral("nftables")))
        return Finding::no(QStringLiteral("the service nftables is not active"));
    for (const char16_t* place : {u"/etc/nftables.conf", u"/etc/sysconfig/nftables.conf"}) {
        const QString path = QString::fromUtf16(place);
        if (!m_facts.exists(path))
            continue;
        const Facts::Text rules = nftablesFile(m_facts, path);
        if (rules.state != Facts::State::Read)
            return Finding::unknown(unreadable(QStringLiteral("the rules in ") + path, rules.state));
        return nftablesRefuseByDefault(rules.bytes);
    }
    return Finding::unknown(QStringLiteral("the rules of nftables cannot be read without privilege"));
}

Finding FirewallFacts::iptables() const {
    for (const char16_t* name : {u"netfilter-persistent", u"iptables"}) {
        if (m_facts.serviceIsActive(QString::fromUtf16(name)))
            return Finding::unknown(
                QStringLiteral("the rules of %1 cannot be read without privilege").arg(QString::fromUtf16(name)));
    }
    return Finding::no(QStringLiteral("no service for iptables is active"));
}

Finding FirewallFacts::kernelFilter() const {
    const Facts::Text loaded = m_facts.text(QStringLiteral("/proc/modules"));
    const QString release = m_facts.line(QStringLiteral("/proc/sys/kernel/osrelease"));
    const Facts::Text builtIn = m_facts.text(QStringLiteral("/lib/modules/%1/modules.builtin").arg(release));
    for (const char* module : {"nf_tables", "ip_tables"}) {
        const QByteArray name = module;
        if (loaded.bytes.startsWith(name + ' ') || loaded.bytes.contains('\n' + name + ' ') ||
            builtIn.bytes.contains('/' + name + ".ko"))
            return Finding::yes();
    }
    const bool isKnown = loaded.state == Facts::State::Read && builtIn.state == Facts::State::Read;
    return isKnown ? Finding::no({}) : Finding::unknown(QStringLiteral("the kernel's modules are not listed"));
}
