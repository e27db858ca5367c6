#include "FirewallFacts.h"

#include "FactsService.h"
#include "NetworkService.h"
#include "SystemBus.h"

#include <QDBusArgument>

using namespace Qt::StringLiterals;

namespace {

const QString FirewalldName = u"org.fedoraproject.FirewallD1"_s;
const QString FirewalldPath = u"/org/fedoraproject/FirewallD1"_s;

/// Interfaces and sources of the zones that are in use, by zone.
using ActiveZones = QMap<QString, QMap<QString, QStringList>>;

struct FirewalldAnswer {
    QString defaultZone;
    ActiveZones zones;
};

ActiveZones zonesOf(const QVariant& answer) {
    const bool isMap =
        answer.canConvert<QDBusArgument>() && answer.value<QDBusArgument>().currentSignature() == u"a{sa{sas}}";
    return isMap ? qdbus_cast<ActiveZones>(answer) : ActiveZones();
}

/// Only what everybody may ask: a property, or the settings of a zone, would ask the person for an administrator.
FirewalldAnswer askFirewalld(const QDBusConnection& bus, std::chrono::milliseconds limit) {
    const auto question = [&](const QString& interface, const QString& method) {
        QDBusMessage message = QDBusMessage::createMethodCall(FirewalldName, FirewalldPath, interface, method);
        message.setAutoStartService(false);
        message.setInteractiveAuthorizationAllowed(false);
        return SystemBus::call(bus, message, limit);
    };
    return {question(FirewalldName, u"getDefaultZone"_s).toString(),
        zonesOf(question(FirewalldName + u".zone"_s, u"getActiveZones"_s))};
}

/// Zones as firewalld and distributions bring them, which refuse what they do not list.
bool isRefusingZone(const QString& name) {
    static const QStringList names{u"block"_s, u"dmz"_s, u"drop"_s, u"external"_s, u"home"_s, u"internal"_s,
        u"public"_s, u"work"_s, u"FedoraServer"_s, u"FedoraWorkstation"_s};
    return names.contains(name);
}

} // namespace

Finding FirewallFacts::find() const {
    const FilterAnswer answer = askFactsService(m_facts, m_busLimit);
    if (!answer.failure.isEmpty())
        return withoutService(answer.failure);
    QList<Finding> families{answer.ip};
    if (hasIpv6())
        families.append(answer.ip6);
    Finding result = Finding::yes();
    for (const Finding& family : families) {
        if (family.isNo())
            return family;
        if (family.isUnknown())
            result = family;
    }
    // Rules that the service cannot list may still be known to who loaded them.
    const bool isUnseen = result.isUnknown() && result.code != u"firewall.rules-unclear";
    const Finding other = isUnseen ? withoutService(u"service.missing"_s) : result;
    return other.isUnknown() ? result : other;
}

Finding FirewallFacts::withoutService(const QString& failure) const {
    if (!hasFilter())
        return Finding::no(u"firewall.none"_s);
    // What several load takes away what one has loaded.
    const QString other = otherLoader();
    if (!other.isEmpty())
        return Finding::unknown(u"firewall.rules-unseen"_s, other + u"; "_s + Finding::unknown(failure).text());
    Finding result = Finding::no(u"firewall.none"_s);
    for (const Finding& part : {firewalld(), ufw()}) {
        if (part.isYes())
            return part;
        if (result.code == u"firewall.none" || (part.isUnknown() && result.isNo()))
            result = part;
    }
    // Nobody's service is at work; rules loaded by hand may be.
    const bool isNobodys = result.code == u"firewall.none" || result.code == u"firewall.ufw-removed";
    return isNobodys ? Finding::unknown(u"firewall.rules-unseen"_s, Finding::unknown(failure).text()) : result;
}

Finding FirewallFacts::firewalld() const {
    if (!m_facts.serviceIsActive(u"firewalld"_s))
        return Finding::no(u"firewall.none"_s);
    const auto limit = m_busLimit;
    const auto answer = SystemBus::ask<FirewalldAnswer>(
        m_facts, limit, {}, [limit](const QDBusConnection& bus) { return askFirewalld(bus, limit); });
    if (answer.defaultZone.isEmpty())
        return Finding::unknown(u"firewall.firewalld-silent"_s);
    QStringList zones{answer.defaultZone};
    for (auto zone = answer.zones.cbegin(); zone != answer.zones.cend(); ++zone) {
        const QStringList interfaces = zone->value(u"interfaces"_s);
        const bool isInside = zone->value(u"sources"_s).isEmpty() &&
            std::none_of(interfaces.begin(), interfaces.end(), [this](const QString& name) { return isOutside(name); });
        if (!isInside)
            zones.append(zone.key());
    }
    Finding result = Finding::yes();
    for (const QString& zone : zones) {
        if (zone == u"trusted")
            return Finding::no(u"firewall.zone-open"_s, zone);
        // An administrator's file of the same name may say otherwise.
        if (!isRefusingZone(zone) || m_facts.exists(u"/etc/firewalld/zones/%1.xml"_s.arg(zone)))
            result = Finding::unknown(u"firewall.zone-unknown"_s, zone);
    }
    return result;
}

/// Whether the outside may come by this interface: all but those that are there and stand on no hardware.
bool FirewallFacts::isOutside(const QString& interface) const {
    return !m_facts.exists(u"/sys/class/net/"_s + interface) || standsOnHardware(m_facts, interface);
}

Finding FirewallFacts::ufw() const {
    const QString path = u"/etc/ufw/ufw.conf"_s;
    const QString defaults = u"/etc/default/ufw"_s;
    const Facts::State state = m_facts.text(path).state;
    if (state == Facts::State::Missing)
        return Finding::no(u"firewall.none"_s);
    if (state != Facts::State::Read)
        return Finding::unknown(u"firewall.ufw-unreadable"_s, path);
    if (m_facts.variables(path).value(u"ENABLED"_s).toLower() != u"yes")
        return Finding::no(u"firewall.none"_s);
    if (!m_facts.exists(u"/usr/sbin/ufw"_s) && !m_facts.exists(u"/usr/bin/ufw"_s))
        return Finding::no(u"firewall.ufw-removed"_s);
    if (!m_facts.serviceIsActive(u"ufw"_s))
        return Finding::unknown(u"firewall.ufw-not-started"_s);
    if (m_facts.text(defaults).state != Facts::State::Read)
        return Finding::unknown(u"firewall.ufw-unreadable"_s, defaults);
    const QString policy = m_facts.variables(defaults).value(u"DEFAULT_INPUT_POLICY"_s).toUpper();
    if (policy == u"DROP" || policy == u"REJECT")
        return Finding::yes();
    return policy == u"ACCEPT" ? Finding::no(u"firewall.ufw-accepts"_s)
                               : Finding::unknown(u"firewall.ufw-unreadable"_s, defaults);
}

/// A service at work that loads rules which nobody sees; empty without one.
QString FirewallFacts::otherLoader() const {
    for (const char16_t* name : {u"nftables", u"netfilter-persistent", u"iptables", u"ip6tables"}) {
        if (m_facts.serviceIsActive(QString::fromUtf16(name)))
            return QString::fromUtf16(name);
    }
    return {};
}

bool FirewallFacts::hasFilter() const {
    return m_facts.kernelHas("nf_tables").value_or(true) || m_facts.kernelHas("ip_tables").value_or(true);
}

/// Not when it is off for every interface that there is and for those to come.
bool FirewallFacts::hasIpv6() const {
    const QString folder = u"/proc/sys/net/ipv6/conf"_s;
    const QStringList names = m_facts.names(folder);
    return std::any_of(names.begin(), names.end(), [&](const QString& name) {
        return name != u"lo" && m_facts.line(folder + u'/' + name + u"/disable_ipv6"_s) != u"1";
    });
}
