#pragma once

#include "PacketRules.h"

#include <QByteArray>

/// What "nft --json list ruleset" prints, as rules.
struct NftablesRuleSet {
    /// Empty when all is well; else why the text as a whole is not understood.
    QString failure;
    RuleSet rules;
    /// Families of the tables ("ip", "ip6") that have rules in a form which only the save commands print in full.
    QSet<QString> needsSaveCommand;
};
NftablesRuleSet readNftablesJson(const QByteArray& text);
