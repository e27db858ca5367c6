#include "PacketRules.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int DeepestJump = 32;
constexpr int AllPorts = 65000;
constexpr int HugeNetwork = 3;

/// What a chain may do with a probe, several bits where it is not sure.
enum Fate : unsigned { Refused = 1, Admitted = 2, Continues = 4 };

Match matchOf(const Rule& rule, const Probe& probe) {
    Match all = Match::Yes;
    for (const Condition& condition : rule.conditions)
        all = std::min(all, condition(probe));
    return all;
}

class Walk {
public:
    Walk(const RuleSet& rules, const Probe& probe) : m_rules(rules), m_probe(probe) {}

    unsigned fates() {
        bool isOpen = true;
        for (auto chain = m_rules.chains.cbegin(); chain != m_rules.chains.cend(); ++chain) {
            if (!isEntered(*chain))
                continue;
            unsigned fates = fatesIn(chain.key(), 0);
            if (fates & Continues)
                fates = (fates & ~Continues) | (chain->refusesByDefault ? Refused : Admitted);
            if (fates == Refused && chain->isActive == Match::Yes)
                return Refused;
            isOpen = isOpen && fates == Admitted;
            if (fates == Refused)
                m_unclear = chain.key();
        }
        return isOpen ? Admitted : Admitted | Refused;
    }

    const QString& unclear() const { return m_unclear; }

private:
    bool isEntered(const Chain& chain) const {
        const bool isFamily =
            chain.family == u"inet" || chain.family == u"netdev" || chain.family == (m_probe.isIpv6 ? u"ip6" : u"ip");
        return isFamily && chain.isActive != Match::No &&
            (chain.devices.isEmpty() || chain.devices.contains(m_probe.interface));
    }

    /// Each chain is played once; it does the same wherever the jump comes from.
    unsigned fatesIn(const QString& key, int depth) {
        const auto known = m_known.constFind(key);
        if (known != m_known.cend())
            return *known;
        const auto chain = m_rules.chains.constFind(key);
        if (chain == m_rules.chains.cend() || depth > DeepestJump) {
            m_unclear = key;
            return Refused | Admitted | Continues;
        }
        m_known.insert(key, Refused | Admitted | Continues); // for a ring
        const unsigned fates = fatesByRules(*chain, key, depth);
        m_known.insert(key, fates);
        return fates;
    }

    unsigned fatesByRules(const Chain& chain, const QString& key, int depth) {
        unsigned result = 0;
        for (const Rule& rule : chain.rules) {
            const Match match = rule.verdict == Rule::Verdict::None ? Match::No : matchOf(rule, m_probe);
            if (match == Match::No)
                continue;
            const unsigned fates = fatesOf(rule, depth);
            if ((match == Match::Maybe || rule.verdict == Rule::Verdict::Unclear) && m_unclear.isEmpty())
                m_unclear = key;
            const bool staysHere = fates & Continues && rule.verdict == Rule::Verdict::Jump;
            result |= staysHere ? fates & ~Continues : fates;
            if (match == Match::Yes && !staysHere)
                return result;
        }
        return result | Continues;
    }

    unsigned fatesOf(const Rule& rule, int depth) {
        switch (rule.verdict) {
        case Rule::Verdict::Drop:
            return Refused;
        case Rule::Verdict::Accept:
            return Admitted;
        case Rule::Verdict::Jump:
        case Rule::Verdict::Goto:
            return fatesIn(rule.target, depth + 1);
        case Rule::Verdict::Unclear:
            return Refused | Admitted | Continues;
        default:
            return Continues;
        }
    }

    const RuleSet& m_rules;
    const Probe& m_probe;
    QHash<QString, unsigned> m_known;
    QString m_unclear;
};

} // namespace

Match negated(Match match) {
    return match == Match::Yes ? Match::No : match == Match::No ? Match::Yes : Match::Maybe;
}

Condition negated(const Condition& condition) {
    return [condition](const Probe& probe) { return negated(condition(probe)); };
}

Match interfaceMatch(const Probe& probe, const QString& name, QChar wildcard) {
    const bool isSame = name.endsWith(wildcard) ? probe.interface.startsWith(name.chopped(1)) : probe.interface == name;
    return isSame ? Match::Yes : Match::No;
}

Match protocolMatch(const Probe& probe, const QString& name) {
    const QString number = probe.protocol == u"tcp" ? u"6"_s : u"17"_s;
    return name == probe.protocol || name == number ? Match::Yes : Match::No;
}

Match portMatch(int first, int last) {
    return last - first >= AllPorts ? Match::Yes : Match::No;
}

Match networkMatch(int prefixLength) {
    return prefixLength <= 0 ? Match::Yes : prefixLength <= HugeNetwork ? Match::Maybe : Match::No;
}

FilterVerdict judge(const RuleSet& rules, bool isIpv6, const QStringList& interfaces) {
    FilterVerdict result{FilterVerdict::State::Refused, {}};
    for (const QString& interface : interfaces.isEmpty() ? QStringList{QString()} : interfaces) {
        for (const QString& protocol : {u"tcp"_s, u"udp"_s}) {
            const Probe probe{isIpv6, protocol, interface};
            Walk walk(rules, probe);
            const unsigned fates = walk.fates();
            if (fates == Admitted)
                return {FilterVerdict::State::Open, interface.isEmpty() ? protocol : protocol + u" at "_s + interface};
            if (fates != Refused)
                result = {FilterVerdict::State::Unknown, walk.unclear()};
        }
    }
    return result;
}
