#include "NetworkInterfaces.h"
#include "Reachability.h"
#include "UniqueFd.h"

#include <QFile>

#include <map>

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// Addresses set aside for documentation: hardly a network has them, so a route there is the default one.
const QHostAddress AnywhereIPv4(u"192.0.2.1"_s);
const QHostAddress AnywhereIPv6(u"2001:db8::1"_s);
constexpr in_port_t DiscardPort = 9;
/// Hardware types of the kernel for serial lines and modems.
constexpr int PointToPoint = 512;
constexpr int RawPackets = 519;

socklen_t fill(sockaddr_storage& storage, const QHostAddress& address) {
    if (address.protocol() == QAbstractSocket::IPv4Protocol) {
        auto* internet = reinterpret_cast<sockaddr_in*>(&storage);
        internet->sin_family = AF_INET;
        internet->sin_port = htons(DiscardPort);
        internet->sin_addr.s_addr = htonl(address.toIPv4Address());
        return sizeof *internet;
    }
    auto* internet = reinterpret_cast<sockaddr_in6*>(&storage);
    const Q_IPV6ADDR bytes = address.toIPv6Address();
    internet->sin6_family = AF_INET6;
    internet->sin6_port = htons(DiscardPort);
    internet->sin6_scope_id = ::if_nametoindex(address.scopeId().toLatin1().constData());
    std::copy(std::begin(bytes.c), std::end(bytes.c), std::begin(internet->sin6_addr.s6_addr));
    return sizeof *internet;
}

QHostAddress withoutScope(const sockaddr* raw) {
    QHostAddress address(raw);
    address.setScopeId({});
    return address;
}

/// Our address on the way to @p target; null without a route. Connecting a datagram socket only looks the route up.
QHostAddress sourceFor(const QHostAddress& target) {
    sockaddr_storage storage{};
    const socklen_t size = fill(storage, target);
    const UniqueFd descriptor(::socket(storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_storage own{};
    socklen_t ownSize = sizeof own;
    // Without a descriptor both fail.
    if (::connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&storage), size) == 0 &&
        ::getsockname(descriptor.get(), reinterpret_cast<sockaddr*>(&own), &ownSize) == 0)
        return withoutScope(reinterpret_cast<const sockaddr*>(&own));
    return {};
}

QByteArray readLink(const char* name, const char* file) {
    QFile fact(u"/sys/class/net/%1/%2"_s.arg(QString::fromLocal8Bit(name), QString::fromLatin1(file)));
    return fact.open(QIODevice::ReadOnly) ? fact.read(4096) : QByteArray();
}

NetworkLink::Kind kindOf(const ifaddrs& entry) {
    if (entry.ifa_flags & IFF_LOOPBACK)
        return NetworkLink::Kind::Loopback;
    const int type = readLink(entry.ifa_name, "type").trimmed().toInt();
    const bool isModem = type == PointToPoint || type == RawPackets;
    if (isModem || readLink(entry.ifa_name, "uevent").contains("DEVTYPE=wwan"))
        return NetworkLink::Kind::Mobile;
    const QString name = QString::fromLocal8Bit(entry.ifa_name).section(u':', 0, 0);
    return NetworkInterfaces::standsOnHardware({}, name) ? NetworkLink::Kind::Fixed : NetworkLink::Kind::Virtual;
}

bool counts(const QHostAddress& address, const NetworkLink& link) {
    return link.kind == NetworkLink::Kind::Loopback || !address.isLinkLocal();
}

} // namespace

NetworkFacts readNetworkFacts(const QHostAddress& target) {
    NetworkFacts facts;
    facts.hasTarget = !target.isNull();
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0)
        return facts;
    std::map<QString, NetworkLink> links;
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || (entry->ifa_addr->sa_family != AF_INET && entry->ifa_addr->sa_family != AF_INET6))
            continue;
        // Further IPv4 addresses of an interface may come under "name:label".
        const QString name = QString::fromLocal8Bit(entry->ifa_name).section(u':', 0, 0);
        NetworkLink& link = links[name];
        if (link.name.isEmpty())
            link = {name, kindOf(*entry), (entry->ifa_flags & IFF_UP) && (entry->ifa_flags & IFF_RUNNING), {}};
        const QHostAddress address = withoutScope(entry->ifa_addr);
        if (facts.hasTarget || counts(address, link))
            link.addresses.append(address);
    }
    ::freeifaddrs(list);
    for (const auto& [name, link] : links)
        facts.links.append(link);
    if (facts.hasTarget) {
        facts.source = sourceFor(target);
    } else {
        facts.source = sourceFor(AnywhereIPv4);
        if (facts.source.isNull())
            facts.source = sourceFor(AnywhereIPv6);
    }
    facts.isKnown = true;
    return facts;
}

} // namespace Platform
