#include "Reachability.h"

#include "UniqueFd.h"

#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace Platform {

namespace {

constexpr std::chrono::milliseconds Gathering{200};

UniqueFd openRouteMessages() {
    UniqueFd descriptor(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (::bind(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        descriptor.close();
    return descriptor;
}

ReachabilityStatus statusOver(const NetworkLink& link) {
    return link.kind == NetworkLink::Kind::Mobile ? ReachabilityStatus::Mobile : ReachabilityStatus::Wired;
}

} // namespace

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

class Reachability::Monitor final : public QObject {
public:
    Monitor(Reader reader, int changes) : m_reader(std::move(reader)), m_given(changes) {
        m_gather.setSingleShot(true);
        connect(&m_gather, &QTimer::timeout, this, [this] { refresh(); });
    }
    ~Monitor() override { stop(); }

    void setTarget(const QHostAddress& target) {
        m_target = target;
        if (m_changed)
            m_gather.start(0);
    }

    void start(std::function<void(ReachabilityStatus)> changed) {
        stop();
        m_changed = std::move(changed);
        m_descriptor = m_given.isOpen() ? std::move(m_given) : openRouteMessages();
        if (m_descriptor.isOpen()) {
            m_notifier = std::make_unique<QSocketNotifier>(m_descriptor.get(), QSocketNotifier::Read);
            connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] { drain(); });
        }
        m_isFirst = true;
        m_gather.start(0);
    }

    void stop() {
        m_gather.stop();
        m_notifier.reset();
        m_descriptor.close();
        m_changed = nullptr;
        m_status = ReachabilityStatus::Unknown;
    }

    ReachabilityStatus status() const { return m_status; }

private:
    /// The messages only say that something changed; what, is read afresh. A queue that ran over says so, too.
    void drain() {
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

    void refresh() {
        NetworkFacts facts = m_reader(m_target);
        // A state that nobody would correct is none.
        facts.isKnown = facts.isKnown && m_descriptor.isOpen();
        const ReachabilityStatus status = statusFor(facts);
        if (!std::exchange(m_isFirst, false) && status == m_status)
            return;
        m_status = status;
        // A copy: the callback may stop us.
        if (const auto changed = m_changed)
            changed(status);
    }

    const Reader m_reader;
    UniqueFd m_given;
    UniqueFd m_descriptor;
    QHostAddress m_target;
    QTimer m_gather;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::function<void(ReachabilityStatus)> m_changed;
    ReachabilityStatus m_status = ReachabilityStatus::Unknown;
    bool m_isFirst = true;
};

Reachability::Reachability(Reader reader, int changes)
    : m_monitor(std::make_unique<Monitor>(reader ? std::move(reader) : Reader(readNetworkFacts), changes)) {}

Reachability::~Reachability() = default;

void Reachability::setTarget(const QString& address) {
    m_monitor->setTarget(QHostAddress(address));
}

void Reachability::start(std::function<void(ReachabilityStatus)> changed) {
    m_monitor->start(std::move(changed));
}

void Reachability::stop() {
    m_monitor->stop();
}

ReachabilityStatus Reachability::status() const {
    return m_monitor->status();
}

} // namespace Platform
