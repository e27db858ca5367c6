#pragma once

#include <QHash>
#include <QSet>
#include <QString>

#include <functional>
#include <vector>

/// An unasked packet from outside: the first of a connection, from an address and to a port that no rule names.
struct Probe {
    bool isIpv6 = false;
    /// "tcp" or "udp".
    QString protocol;
    /// Where it comes in; empty for an interface that no rule names.
    QString interface;
};

/// Whether a condition holds for a probe. Maybe is for what is not understood or depends on more than the probe.
enum class Match { No, Maybe, Yes };
using Condition = std::function<Match(const Probe&)>;

inline Condition always(Match match) {
    return [match](const Probe&) { return match; };
}
Match negated(Match match);
Condition negated(const Condition& condition);
/// Interface names end in @p wildcard where they stand for all that begin so.
Match interfaceMatch(const Probe& probe, const QString& name, QChar wildcard);
/// By name or number; other protocols than those of a probe are never its own.
Match protocolMatch(const Probe& probe, const QString& name);
/// A share of all ports: only one that leaves out next to none holds the port that no rule names.
Match portMatch(int first, int last);
/// A network by the length of its prefix: small ones are not where the probe comes from, huge ones may be.
Match networkMatch(int prefixLength);

struct Rule {
    /// @note Accept also stands for what ends a chain otherwise, such as a changed destination.
    enum class Verdict { None, Accept, Drop, Return, Jump, Goto, Unclear };
    std::vector<Condition> conditions;
    Verdict verdict = Verdict::None;
    /// Key of the chain that Jump and Goto lead to.
    QString target;
};

struct Chain {
    /// Of a chain that packets enter by themselves: "ip", "ip6", "inet" or "netdev"; empty for all others.
    QString family;
    /// Only what comes in at these, where there are any.
    QSet<QString> devices;
    bool refusesByDefault = false;
    /// No: a chain of a dormant table.
    Match isActive = Match::Yes;
    std::vector<Rule> rules;
};

/// All chains that unasked packets may pass, by "family table chain".
struct RuleSet {
    QHash<QString, Chain> chains;
    /// Whether something marks packets, so that conditions on marks may hold.
    bool setsMarks = false;
};

/// What becomes of the unasked packets of one address family.
struct FilterVerdict {
    enum class State { Refused, Open, Unknown };
    State state = State::Unknown;
    /// For Open where they get in ("tcp at eth0"), for Unknown the chain that is not understood.
    QString subject;
};

/// Plays the probes of a family through every chain. Refused only when none can get in, Open only when one surely does.
/// Takes a time that grows with the number of rules and no more.
/// @param interfaces  those that stand on hardware
FilterVerdict judge(const RuleSet& rules, bool isIpv6, const QStringList& interfaces);
