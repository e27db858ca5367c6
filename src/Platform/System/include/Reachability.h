#pragma once

#include "UniqueFd.h"

#include <QHostAddress>
#include <QList>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class QSocketNotifier;

namespace Platform {

enum class ReachabilityStatus { Unknown = -1, NotReachable = 0, Mobile = 1, Wired = 2 };

/// A network interface as far as reachability cares.
struct NetworkLink {
    /// Virtual: a container's, tunnel's or virtual machine's, over no hardware.
    enum class Kind { Fixed, Mobile, Virtual, Loopback };
    QString name;
    Kind kind = Kind::Fixed;
    /// Switched on, with a carrier.
    bool isRunning = false;
    /// The addresses that are valid beyond the link.
    QList<QHostAddress> addresses;
};

/// What a decision stands on.
struct NetworkFacts {
    /// False when the system could not be asked.
    bool isKnown = false;
    bool hasTarget = false;
    /// Our address on the route to the target, or to anywhere without a target; null without such a route.
    QHostAddress source;
    QList<NetworkLink> links;
};

/// Whether an interface has a device of its own in sysfs below @p root or, as bonds, teams, bridges and VLANs do, lies
/// over one that has. False for loopback, container and tunnel ends and for bridges over those alone.
bool standsOnHardware(const QString& root, const QString& name);

/// With a target: whether a route leads there over a running link. Without: that, for anywhere, or any running link
/// over hardware with an address. Mobile when the link that carries it is.
ReachabilityStatus statusFor(const NetworkFacts& facts);

/// Reads the facts from the running system. Sends nothing. @p target is an address; null for none
NetworkFacts readNetworkFacts(const QHostAddress& target);

/// Follows whether the network, or one server, can be reached: sleeps until the kernel tells of a change.
///
/// Lives on the main thread. Changes within 200 ms count as one.
class Reachability final {
public:
    using Reader = std::function<NetworkFacts(const QHostAddress& target)>;

    /// @param reader  by default readNetworkFacts
    /// @param changes  descriptor that becomes readable at each change, taken over; by default the kernel's route
    /// messages
    explicit Reachability(Reader reader = {}, int changes = -1);
    ~Reachability();
    Reachability(const Reachability&) = delete;
    Reachability& operator=(const Reachability&) = delete;

    /// The server that counts: an IPv4 or IPv6 address. Anything else, such as a name, stands for no server in
    /// particular.
    void setTarget(const QString& address);
    /// Calls @p changed with the status from the event loop once, and then whenever it has changed. Called again, it
    /// begins anew.
    void start(std::function<void(ReachabilityStatus)> changed);

private:
    void drain();
    void refresh();

    const Reader m_reader;
    QHostAddress m_target;
    std::function<void(ReachabilityStatus)> m_changed;
    std::optional<ReachabilityStatus> m_told;
    UniqueFd m_given;
    UniqueFd m_descriptor;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_gather;
};

} // namespace Platform
