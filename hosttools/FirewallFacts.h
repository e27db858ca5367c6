#pragma once

#include "Facts.h"

#include <chrono>

/// Whether a firewall of this computer refuses incoming traffic that nothing allows.
///
/// Asks each firewall manager that is at work: firewalld, ufw, the service that loads a rule file of nftables, and the
/// ones that load rules of iptables. One that refuses is enough. The rules in the kernel are for root alone, so what
/// was loaded by hand is unknown, unless the kernel holds no packet filter at all.
class FirewallFacts final {
public:
    /// @param busLimit  for all questions to firewalld
    explicit FirewallFacts(const Facts& facts, std::chrono::milliseconds busLimit = std::chrono::milliseconds(500))
        : m_facts(facts), m_busLimit(busLimit) {}
    Finding find() const;

private:
    Finding firewalld() const;
    Finding ufw() const;
    Finding nftables() const;
    Finding iptables() const;
    /// Yes: a filter that could hold rules is in the kernel.
    Finding kernelFilter() const;

    const Facts& m_facts;
    const std::chrono::milliseconds m_busLimit;
};
