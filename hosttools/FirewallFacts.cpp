#include "FirewallFacts.h"

#include "DeviceFiles.h"
#include "NftablesRules.h"
#include "SystemBus.h"

using namespace Qt::StringLiterals;

namespace {

const QString FirewalldName = u"org.fedoraproject.FirewallD1"_s;
const QString FirewalldPath = u"/org/fedoraproject/FirewallD1"_s;

struct FirewalldState {
    QString state;
    QString zone;
};

FirewalldState askFirewalld(const QDBusConnection& bus, std::chrono::milliseconds limit) {
    return {SystemBus::property(bus, FirewalldName, FirewalldPath, FirewalldName, u"state"_s, limit).toString(),
        SystemBus::call(bus,
            QDBusMessage::createMethodCall(FirewalldName, FirewalldPath, FirewalldName, u"getDefaultZone"_s), limit)
            .toString()};
}

/// Why a file that counts gives nothing.
QString unreadable(const QString& path, Facts::State state) {
    return state == Facts::State::Denied ? u"%1 cannot be read without privilege"_s.arg(path)
        : state == Facts::State::Missing ? u"%1 does not exist"_s.arg(path)
                                         : u"%1 cannot be read"_s.arg(path);
}

} // namespace

Finding FirewallFacts::find() const {
    const Finding notThere = Finding::no(u"no firewall is at work"_s);
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
    return kernelFilter().isNo() ? notThere
                                 : Finding::unknown(u"rules loaded by hand cannot be read without privilege"_s);
}

Finding FirewallFacts::firewalld() const {
    if (!m_facts.serviceIsActive(u"firewalld"_s))
        return Finding::no(u"firewalld does not run"_s);
    const auto limit = m_busLimit;
    const auto answer = SystemBus::ask<FirewalldState>(
        m_facts, limit, {}, [limit](const QDBusConnection& bus) { return askFirewalld(bus, limit); });
    if (answer.state.isEmpty())
        return Finding::unknown(u"firewalld runs and does not tell its state"_s);
    if (answer.state != u"RUNNING")
        return Finding::no(u"firewalld is in the state %1"_s.arg(answer.state));
    // Who may not ask for the zone is left with the state; every other zone refuses by default.
    if (answer.zone == u"trusted")
        return Finding::no(u"firewalld's default zone trusts everybody"_s);
    return Finding::yes();
}

Finding FirewallFacts::ufw() const {
    const QString path = u"/etc/ufw/ufw.conf"_s;
    const Facts::State state = m_facts.text(path).state;
    if (state == Facts::State::Missing)
        return Finding::no(u"ufw is not installed"_s);
    if (state != Facts::State::Read)
        return Finding::unknown(unreadable(path, state));
    const auto settings = DeviceFiles::variables(m_facts.root() + path);
    if (settings.value(u"ENABLED"_s).toLower() != u"yes")
        return Finding::no(u"ufw is not enabled"_s);
    if (!m_facts.serviceIsActive(u"ufw"_s) && kernelFilter().isNo())
        return Finding::no(u"ufw is enabled and not loaded"_s);
    const QString defaults = u"/etc/default/ufw"_s;
    const Facts::State defaultsState = m_facts.text(defaults).state;
    if (defaultsState != Facts::State::Read)
        return Finding::unknown(unreadable(defaults, defaultsState));
    const QString policy = DeviceFiles::variables(m_facts.root() + defaults).value(u"DEFAULT_INPUT_POLICY"_s).toUpper();
    if (policy == u"ACCEPT")
        return Finding::no(u"ufw allows incoming traffic by default"_s);
    return policy == u"DROP" || policy == u"REJECT"
        ? Finding::yes()
        : Finding::unknown(u"%1 does not tell what is done by default"_s.arg(defaults));
}

Finding FirewallFacts::nftables() const {
    if (!m_facts.serviceIsActive(u"nftables"_s))
        return Finding::no(u"the service nftables is not active"_s);
    for (const char16_t* place : {u"/etc/nftables.conf", u"/etc/sysconfig/nftables.conf"}) {
        const QString path = QString::fromUtf16(place);
        if (!m_facts.exists(path))
            continue;
        const Facts::Text rules = nftablesFile(m_facts, path);
        if (rules.state != Facts::State::Read)
            return Finding::unknown(unreadable(u"the rules in "_s + path, rules.state));
        return nftablesRefuseByDefault(rules.bytes);
    }
    return Finding::unknown(u"the rules of nftables cannot be read without privilege"_s);
}

Finding FirewallFacts::iptables() const {
    for (const char16_t* name : {u"netfilter-persistent", u"iptables"}) {
        if (m_facts.serviceIsActive(QString::fromUtf16(name)))
            return Finding::unknown(
                u"the rules of %1 cannot be read without privilege"_s.arg(QString::fromUtf16(name)));
    }
    return Finding::no(u"no service for iptables is active"_s);
}

Finding FirewallFacts::kernelFilter() const {
    const Facts::Text loaded = m_facts.text(u"/proc/modules"_s);
    const QString release = m_facts.line(u"/proc/sys/kernel/osrelease"_s);
    const Facts::Text builtIn = m_facts.text(u"/lib/modules/%1/modules.builtin"_s.arg(release));
    for (const char* module : {"nf_tables", "ip_tables"}) {
        const QByteArray name = module;
        if (loaded.bytes.startsWith(name + ' ') || loaded.bytes.contains('\n' + name + ' ') ||
            builtIn.bytes.contains('/' + name + ".ko"))
            return Finding::yes();
    }
    const bool isKnown = loaded.state == Facts::State::Read && builtIn.state == Facts::State::Read;
    return isKnown ? Finding::no({}) : Finding::unknown(u"the kernel's modules are not listed"_s);
}
