#include "Reachability.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QNetworkInterface>
#include <QSocketNotifier>

#include <cerrno>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netdb.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr std::chrono::milliseconds Gathering{200};
/// Addresses set aside for documentation: hardly a network has them, so a route there is the default one.
const QString AnywhereIPv4 = u"192.0.2.1"_s;
const QString AnywhereIPv6 = u"2001:db8::1"_s;
constexpr char DiscardPort[] = "9";
/// Hardware types of the kernel for serial lines and modems.
constexpr int PointToPoint = 512;
constexpr int RawPackets = 519;

constexpr int MaximumLayers = 4;

bool isOverHardware(const QDir& interfaces, const QString& name, int layers) {
    const QString folder = interfaces.filePath(name);
    if (QFileInfo::exists(folder + u"/device"_s))
        return true;
    if (layers == 0)
        return false;
    const QString prefix = u"lower_"_s;
    for (const QString& link : QDir(folder).entryList({prefix + u'*'}, QDir::Dirs | QDir::System)) {
        if (isOverHardware(interfaces, link.mid(prefix.size()), layers - 1))
            return true;
    }
    return false;
}

UniqueFd openRouteMessages() {
    UniqueFd descriptor(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (::bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        descriptor.close();
    return descriptor;
}

QHostAddress withoutScope(QHostAddress address) {
    address.setScopeId({});
    return address;
}

/// Our address on the way to @p target; null without a route. Connecting a datagram socket only looks the route up.
QHostAddress sourceFor(const QString& target) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(target.toLatin1().constData(), DiscardPort, &hints, &found) != 0)
        return {};
    const UniqueFd descriptor(::socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_storage own{};
    socklen_t ownSize = sizeof own;
    // Without a descriptor both fail.
    const bool isRouted = ::connect(descriptor.get(), found->ai_addr, found->ai_addrlen) == 0 &&
        ::getsockname(descriptor.get(), reinterpret_cast<sockaddr*>(&own), &ownSize) == 0;
    ::freeaddrinfo(found);
    return isRouted ? withoutScope(QHostAddress(reinterpret_cast<const sockaddr*>(&own))) : QHostAddress();
}

QByteArray fact(const QNetworkInterface& link, const QString& file) {
    QFile fact(u"/sys/class/net/%1/%2"_s.arg(link.name(), file));
    return fact.open(QIODevice::ReadOnly) ? fact.read(4096) : QByteArray();
}

NetworkLink::Kind kindOf(const QNetworkInterface& link) {
    if (link.flags() & QNetworkInterface::IsLoopBack)
        return NetworkLink::Kind::Loopback;
    const int type = fact(link, u"type"_s).trimmed().toInt();
    if (type == PointToPoint || type == RawPackets || fact(link, u"uevent"_s).contains("DEVTYPE=wwan"))
        return NetworkLink::Kind::Mobile;
    return standsOnHardware({}, link.name()) ? NetworkLink::Kind::Fixed : NetworkLink::Kind::Virtual;
}

ReachabilityStatus statusOver(const NetworkLink& link) {
    return link.kind == NetworkLink::Kind::Mobile ? ReachabilityStatus::Mobile : ReachabilityStatus::Wired;
}

} // namespace

bool standsOnHardware(const QString& root, const QString& name) {
    return isOverHardware(QDir(root + u"/sys/class/net"_s), name, MaximumLayers);
}

NetworkFacts readNetworkFacts(const QHostAddress& target) {
    NetworkFacts facts;
    facts.hasTarget = !target.isNull();
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    facts.isKnown = !all.isEmpty();
    for (const QNetworkInterface& each : all) {
        const QList<QNetworkAddressEntry> entries = each.addressEntries();
        if (entries.isEmpty())
            continue;
        NetworkLink link{each.name(), kindOf(each),
            each.flags().testFlags(QNetworkInterface::IsUp | QNetworkInterface::IsRunning), {}};
        for (const QNetworkAddressEntry& entry : entries) {
            if (facts.hasTarget || link.kind == NetworkLink::Kind::Loopback || !entry.ip().isLinkLocal())
                link.addresses.append(withoutScope(entry.ip()));
        }
        facts.links.append(link);
    }
    facts.source = sourceFor(facts.hasTarget ? target.toString() : AnywhereIPv4);
    if (facts.source.isNull() && !facts.hasTarget)
        facts.source = sourceFor(AnywhereIPv6);
    return facts;
}

ReachabilityStatus statusFor(const NetworkFacts& facts) {
    if (!facts.isKnown)
        return ReachabilityStatus::Unknown;
    for (const NetworkLink& link : facts.links) {
        if (!facts.source.isNull() && link.isRunning && link.addresses.contains(facts.source))
            return statusOver(link);
    }
    if (facts.hasTarget)
        return ReachabilityStatus::NotReachable;
    auto found = ReachabilityStatus::NotReachable;
    for (const NetworkLink& link : facts.links) {
        if (!link.isRunning || link.addresses.isEmpty())
            continue;
        if (link.kind == NetworkLink::Kind::Fixed)
            return ReachabilityStatus::Wired;
        if (link.kind == NetworkLink::Kind::Mobile)
            found = ReachabilityStatus::Mobile;
    }
    return found;
}

Reachability::Reachability(Reader reader, int changes)
    : m_reader(reader ? std::move(reader) : Reader(readNetworkFacts)), m_given(changes) {
    m_gather.setSingleShot(true);
    QObject::connect(&m_gather, &QTimer::timeout, &m_gather, [this] { refresh(); });
}

Reachability::~Reachability() = default;

void Reachability::setTarget(const QString& address) {
    m_target = QHostAddress(address);
    if (m_changed)
        m_gather.start(0);
}

void Reachability::start(std::function<void(ReachabilityStatus)> changed) {
    m_changed = std::move(changed);
    m_told.reset();
    m_notifier.reset();
    m_descriptor = m_given.isOpen() ? std::move(m_given) : openRouteMessages();
    if (m_descriptor.isOpen()) {
        m_notifier = std::make_unique<QSocketNotifier>(m_descriptor.get(), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, &m_gather, [this] { drain(); });
    }
    m_gather.start(0);
}

/// The messages only say that something changed; what, is read afresh. A queue that ran over says so, too.
void Reachability::drain() {
    char buffer[8192];
    ssize_t count = 0;
    do
        count = ::recv(m_descriptor.get(), buffer, sizeof buffer, MSG_DONTWAIT);
    while (count > 0 || (count < 0 && (errno == EINTR || errno == ENOBUFS)));
    if (count == 0)
        m_notifier->setEnabled(false);
    // Not started again by each further message: a steady stream of them must not hold the answer back.
    if (!m_gather.isActive())
        m_gather.start(Gathering);
}

void Reachability::refresh() {
    NetworkFacts facts = m_reader(m_target);
    // A state that nobody would correct is none.
    facts.isKnown = facts.isKnown && m_descriptor.isOpen();
    const ReachabilityStatus status = statusFor(facts);
    if (m_told == status)
        return;
    m_told = status;
    // A copy: the callback may start us anew.
    const auto changed = m_changed;
    changed(status);
}

} // namespace Platform
