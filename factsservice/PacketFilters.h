#pragma once

#include "Finding.h"
#include "HostCommand.h"
#include "PacketRules.h"

/// Which packet filters are loaded and whether each address family refuses unasked incoming traffic.
///
/// Asks nft for its rules and, only where they are in use, the save commands of the older tables. Needs CAP_NET_ADMIN,
/// for the older tables CAP_NET_RAW too. Blocks for at most about half a second.
class PacketFilters final {
public:
    explicit PacketFilters(const Facts& facts) : m_facts(facts) {}

    struct Answer {
        Finding ip;
        Finding ip6;

        /// As it goes over the bus, see FactsProtocol.
        QMap<QString, QString> texts() const;
    };
    Answer find() const;

private:
    Finding addNftables(RuleSet& rules, QSet<QString>& needsSaveCommand) const;
    Finding addSaved(RuleSet& rules, const QString& command, const QStringList& arguments, const QString& family,
        const QString& place) const;
    Finding addOlderTables(RuleSet& rules, const QString& family) const;
    QStringList interfaces() const;

    const Facts& m_facts;
};
