#pragma once

#include "PacketRules.h"

/// Reads what the commands iptables-save and ip6tables-save print into @p rules, in the place of what stands there of
/// the same tables.
///
/// @param family  "ip" or "ip6", of the entered chains
/// @param place   put before the table's name in the keys of chains: the family for tables of nftables
/// @returns whether all of it had the form of such a text
bool addSavedTables(RuleSet& rules, const QByteArray& text, const QString& family, const QString& place);
