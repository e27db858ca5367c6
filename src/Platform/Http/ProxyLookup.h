#pragma once

#include "HttpUrl.h"

#include <chrono>
#include <functional>
#include <map>
#include <vector>

namespace Platform {

/// The proxy for one address, in the transport's form; an empty URL goes directly.
struct ProxyChoice {
    QByteArray url = {};
    QByteArray user = {};
    QByteArray password = {};
};

/// Asks the system for proxies on a borrowed thread, since a proxy script may take seconds, and remembers the answers
/// for half a minute, so that a poll does not wake a second thread. Lives on the network thread.
class ProxyLookup final {
public:
    /// Never destroyed.
    static ProxyLookup& shared();

    using Found = std::function<void(const ProxyChoice& proxy)>;

    /// Calls @p found on the network thread: before this returns when the answer is known, else later.
    void find(const HttpUrl& url, Found found);

private:
    using Clock = std::chrono::steady_clock;
    struct Known {
        ProxyChoice proxy;
        Clock::time_point until;
    };

    void answer(const QByteArray& server, const ProxyChoice& proxy);

    std::map<QByteArray, Known> m_known;
    std::map<QByteArray, std::vector<Found>> m_waiting;
};

} // namespace Platform
