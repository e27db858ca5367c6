#include "NftablesJson.h"

#include "NftablesMatch.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

using Verdict = Rule::Verdict;

constexpr int KnownSchema = 1;

const QHash<QString, Verdict> Verdicts{{u"accept"_s, Verdict::Accept}, {u"drop"_s, Verdict::Drop},
    {u"reject"_s, Verdict::Drop}, {u"return"_s, Verdict::Return}, {u"jump"_s, Verdict::Jump},
    {u"goto"_s, Verdict::Goto}, {u"continue"_s, Verdict::None}, {u"dnat"_s, Verdict::Accept},
    {u"redirect"_s, Verdict::Accept}, {u"snat"_s, Verdict::Accept}, {u"masquerade"_s, Verdict::Accept}};
const QSet<QString> WithoutEffect{u"counter"_s, u"log"_s, u"mangle"_s, u"notrack"_s, u"set"_s, u"map"_s, u"flow"_s,
    u"dup"_s, u"ct helper"_s, u"ct timeout"_s, u"ct expectation"_s, u"secmark"_s, u"comment"_s};

/// The rules of one statement list after another; a map of verdicts becomes a rule for each of its elements.
class RuleReader {
public:
    RuleReader(NftablesMatch& matches, QString table, Chain& chain)
        : m_matches(matches), m_table(std::move(table)), m_chain(chain) {
        matches.setTable(m_table);
    }

    /// @returns whether there is something in it that nft itself cannot show
    bool read(const QJsonArray& statements) {
        for (const QJsonValue& value : statements) {
            const QJsonObject statement = value.toObject();
            const QString name = statement.isEmpty() ? QString() : statement.begin().key();
            take(name, statement[name]);
        }
        return m_isForeign;
    }

private:
    void take(const QString& name, const QJsonValue& value) {
        if (name == u"match")
            m_conditions.push_back(m_matches.condition(value.toObject()));
        else if (name == u"vmap")
            takeMap(value[u"key"], m_matches.elements(value[u"data"]));
        else if (name == u"xt")
            takeForeign(value.toObject());
        else if (name == u"limit" || name == u"quota" || name == u"ct count" || name == u"meter" ||
            (name == u"set" && value[u"stmt"].isArray()))
            m_conditions.push_back(always(Match::Maybe));
        else if (!WithoutEffect.contains(name))
            add(name, value, m_conditions);
    }

    void takeMap(const QJsonValue& key, const QJsonArray& pairs) {
        for (const QJsonValue& pair : pairs) {
            std::vector<Condition> conditions = m_conditions;
            const QJsonValue first = pair[0];
            conditions.push_back(m_matches.equality(key, first[u"elem"].isObject() ? first[u"elem"][u"val"] : first));
            const QJsonObject verdict = pair[1].toObject();
            const QString name = verdict.isEmpty() ? QString() : verdict.begin().key();
            add(name, verdict[name], std::move(conditions));
        }
    }

    /// An extension of the older tables.
    void takeForeign(const QJsonObject& extension) {
        static const QSet<QString> seen{u"LOG"_s, u"NFLOG"_s, u"comment"_s};
        const QString name = extension[u"name"].toString();
        if (seen.contains(name))
            return;
        m_isForeign = true;
        if (extension[u"type"].toString() == u"target")
            add(name == u"REJECT" ? u"reject"_s : name, {}, m_conditions);
        else
            m_conditions.push_back(always(Match::Maybe));
    }

    void add(const QString& name, const QJsonValue& value, std::vector<Condition> conditions) {
        const QString target = m_table + u' ' + value[u"target"].toString();
        m_chain.rules.push_back({std::move(conditions), Verdicts.value(name, Verdict::Unclear), target});
    }

    NftablesMatch& m_matches;
    const QString m_table;
    Chain& m_chain;
    std::vector<Condition> m_conditions;
    bool m_isForeign = false;
};

QString tableOf(const QJsonObject& object) {
    return object[u"family"].toString() + u' ' + object[u"table"].toString();
}

/// Flags of a table that say nothing about packets, and the one that does. An older nft prints one letter of the name.
Match activityOf(const QJsonValue& flags) {
    const QJsonArray names = flags.isArray() ? flags.toArray() : flags.isString() ? QJsonArray{flags} : QJsonArray();
    Match result = Match::Yes;
    for (const QJsonValue& name : names) {
        if (name.toString() == u"dormant")
            return Match::No;
        if (name.toString() != u"owner" && name.toString() != u"persist")
            result = Match::Maybe;
    }
    return result;
}

Chain chainOf(const QJsonObject& object, Match isActive) {
    static const QSet<QString> hooks{u"ingress"_s, u"prerouting"_s, u"input"_s};
    const QString family = object[u"family"].toString();
    Chain chain;
    if (!hooks.contains(object[u"hook"].toString()) || family == u"bridge" || family == u"arp")
        return chain;
    chain.family = family;
    chain.refusesByDefault = object[u"policy"].toString() == u"drop";
    chain.isActive = isActive;
    const QJsonValue devices = object[u"dev"];
    // An older nft does not say which device such a chain is for.
    if (object[u"hook"].toString() == u"ingress" && devices.isUndefined() && isActive == Match::Yes)
        chain.isActive = Match::Maybe;
    for (const QJsonValue& device : devices.isArray() ? devices.toArray() : QJsonArray{devices}) {
        if (device.isString())
            chain.devices.insert(device.toString());
    }
    return chain;
}

/// Everything but the rules.
struct Parts {
    QHash<QString, Match> tables;
    QHash<QString, QJsonArray> sets;
    std::vector<QJsonObject> rules;
};

Parts takeParts(const QJsonArray& list, RuleSet& rules) {
    Parts parts;
    for (const QJsonValue& value : list) {
        const QJsonObject entry = value.toObject();
        const QJsonObject object = entry.isEmpty() ? QJsonObject() : entry.begin()->toObject();
        const QString kind = entry.isEmpty() ? QString() : entry.begin().key();
        const QString table = tableOf(object);
        if (kind == u"table")
            parts.tables.insert(
                object[u"family"].toString() + u' ' + object[u"name"].toString(), activityOf(object[u"flags"]));
        else if (kind == u"chain")
            rules.chains.insert(
                table + u' ' + object[u"name"].toString(), chainOf(object, parts.tables.value(table, Match::Maybe)));
        else if (kind == u"set" || kind == u"map")
            parts.sets.insert(table + u' ' + object[u"name"].toString(), object[u"elem"].toArray());
        else if (kind == u"rule")
            parts.rules.push_back(object);
    }
    return parts;
}

/// Whether a rule gives packets a mark.
bool marks(const QJsonObject& rule) {
    const QJsonArray statements = rule[u"expr"].toArray();
    return std::any_of(statements.begin(), statements.end(), [](const QJsonValue& statement) {
        const QJsonValue key = statement[u"mangle"][u"key"];
        return key[u"meta"][u"key"].toString() == u"mark" || key[u"ct"][u"key"].toString() == u"mark" ||
            statement[u"xt"][u"name"].toString().endsWith(u"MARK");
    });
}

QString failureOf(const QJsonArray& list) {
    const QJsonObject about = list.at(0)[u"metainfo"].toObject();
    if (about.isEmpty())
        return u"nft printed no JSON of its own"_s;
    const int schema = about[u"json_schema_version"].toInt();
    return schema == KnownSchema ? QString() : u"nft prints the unknown schema %1"_s.arg(schema);
}

} // namespace

NftablesRuleSet readNftablesJson(const QByteArray& text) {
    const QJsonArray list = QJsonDocument::fromJson(text)[u"nftables"].toArray();
    NftablesRuleSet result{failureOf(list), {}, {}};
    if (!result.failure.isEmpty())
        return result;
    Parts parts = takeParts(list, result.rules);
    result.rules.setsMarks = std::any_of(parts.rules.begin(), parts.rules.end(), marks);
    NftablesMatch matches(std::move(parts.sets), result.rules.setsMarks);
    for (const QJsonObject& rule : parts.rules) {
        const QString table = tableOf(rule);
        Chain& chain = result.rules.chains[table + u' ' + rule[u"chain"].toString()];
        if (RuleReader(matches, table, chain).read(rule[u"expr"].toArray()))
            result.needsSaveCommand.insert(rule[u"family"].toString());
    }
    return result;
}
