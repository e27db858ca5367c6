#pragma once

#include "Facts.h"
#include "Finding.h"

#include <chrono>

/// Whether this computer refuses incoming traffic that nothing allows, in both address families unless the kernel has
/// IPv6 off.
///
/// The facts service sees the rules themselves and is asked first. Without it firewalld and ufw are asked, as far as
/// they answer everybody; what other services or people load is unknown then, unless the kernel holds no packet filter
/// at all.
class FirewallFacts final {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// @param busLimit  for the facts service, and again for all questions to firewalld
    explicit FirewallFacts(const Facts& facts, Milliseconds busLimit = Milliseconds(500))
        : m_facts(facts), m_busLimit(busLimit) {}
    Finding find() const;

private:
    Finding withoutService(const QString& failure) const;
    Finding firewalld() const;
    Finding ufw() const;
    QString otherLoader() const;
    bool isOutside(const QString& interface) const;
    bool hasFilter() const;
    bool hasIpv6() const;

    const Facts& m_facts;
    const Milliseconds m_busLimit;
};
