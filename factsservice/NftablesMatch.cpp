#include "NftablesMatch.h"

#include <arpa/inet.h>

using namespace Qt::StringLiterals;

namespace {

/// A client's own end.
constexpr int OrdinarySourcePort = 45000;
/// An eighth of all addresses.
constexpr quint32 HugeRange = 1u << 29;
/// Elements of sets in all, each time one is used.
constexpr qsizetype MostElements = 200000;

Match yesIf(bool isSo) {
    return isSo ? Match::Yes : Match::No;
}

QString textOf(const QJsonValue& value) {
    return value.isDouble() ? QString::number(value.toInteger()) : value.toString();
}

struct Range {
    QJsonValue first;
    QJsonValue last;
};

/// Both ends of {"range": [a, b]}, twice the value itself for a single one.
Range rangeOf(const QJsonValue& value) {
    const QJsonArray ends = value[u"range"].toArray();
    return ends.size() == 2 ? Range{ends[0], ends[1]} : Range{value, value};
}

Match sourcePortMatch(const QJsonValue& value) {
    const Range range = rangeOf(value);
    return yesIf(range.first.toInt() <= OrdinarySourcePort && OrdinarySourcePort <= range.last.toInt());
}

quint32 ipv4(const QString& address) {
    return ntohl(::inet_addr(address.toLatin1().constData()));
}

bool isForMany(const QString& address) {
    return address.startsWith(u"ff") || address.section(u'.', 0, 0).toInt() >= 224;
}

Match addressMatch(const QJsonValue& value, bool isDestination) {
    const QJsonObject prefix = value[u"prefix"].toObject();
    const QString first = prefix.isEmpty() ? rangeOf(value).first.toString() : prefix[u"addr"].toString();
    Match network = prefix.isEmpty() ? Match::No : networkMatch(prefix[u"len"].toInt());
    if (value[u"range"].isArray()) {
        const quint32 length = ipv4(rangeOf(value).last.toString()) - ipv4(first);
        network = first.contains(u':') || length >= HugeRange ? Match::Maybe : Match::No;
    }
    // A single destination may be this computer's own address.
    return network == Match::No && isDestination && !isForMany(first) ? Match::Maybe : network;
}

/// The protocol that a field belongs to; null for fields of the packet itself.
Condition guardOf(const QString& protocol) {
    if (protocol == u"ip" || protocol == u"ip6")
        return [isIpv6 = protocol == u"ip6"](const Probe& probe) { return yesIf(probe.isIpv6 == isIpv6); };
    if (protocol == u"th" || protocol == u"ether")
        return always(Match::Yes);
    return [protocol](const Probe& probe) { return protocolMatch(probe, protocol); };
}

Condition both(const Condition& guard, const Condition& condition) {
    return [guard, condition](const Probe& probe) { return std::min(guard(probe), condition(probe)); };
}

/// An order between a port and a number as a range of ports.
QJsonValue portsBy(const QString& op, const QJsonValue& value) {
    const int port = value.toInt();
    const int first = op == u">" ? port + 1 : op == u">=" ? port : 0;
    const int last = op == u"<" ? port - 1 : op == u"<=" ? port : 65535;
    return QJsonObject{{u"range"_s, QJsonArray{first, last}}};
}

} // namespace

Condition NftablesMatch::condition(const QJsonObject& match) {
    const QJsonValue left = match[u"left"];
    const QJsonValue right = match[u"right"];
    const QString op = match[u"op"].toString();
    if (left[u"&"].isArray())
        return flags(left.toObject(), op, right);
    const QJsonObject field = left[u"payload"].toObject();
    if (field[u"field"].toString() == u"flags")
        return flags({{u"&"_s, QJsonArray{left, elements(right)}}}, op, right);
    // Whatever is asked of a field, the packet has to have it.
    const Condition guard = field[u"protocol"].isString() ? guardOf(field[u"protocol"].toString()) : always(Match::Yes);
    if (op == u"==" || op == u"in")
        return both(guard, anyOf(left, elements(right)));
    if (op == u"!=")
        return both(guard, negated(anyOf(left, elements(right))));
    const bool isPort = field[u"field"].toString() == u"dport" || field[u"field"].toString() == u"sport";
    return both(guard, isPort ? equality(left, portsBy(op, right)) : always(Match::Maybe));
}

QJsonArray NftablesMatch::elements(const QJsonValue& value) const {
    QJsonArray found{value};
    if (value[u"set"].isArray())
        found = value[u"set"].toArray();
    else if (value.isArray())
        found = value.toArray();
    else if (value.toString().startsWith(u'@'))
        found = m_sets.value(m_table + u' ' + value.toString().mid(1), {QJsonObject{{u"not there"_s, value}}});
    return found;
}

Condition NftablesMatch::anyOf(const QJsonValue& key, const QJsonArray& values) {
    m_elements += values.size();
    if (m_elements > MostElements)
        return always(Match::Maybe);
    std::vector<Condition> conditions;
    int ports = 0;
    for (const QJsonValue& value : values) {
        const QJsonValue plain = value[u"elem"].isObject() ? value[u"elem"][u"val"] : value;
        conditions.push_back(equality(key, plain));
        ports += rangeOf(plain).last.toInt() - rangeOf(plain).first.toInt() + 1;
    }
    if (key[u"payload"][u"field"].toString() == u"dport" && portMatch(1, ports) == Match::Yes)
        return always(Match::Yes);
    return [conditions = std::move(conditions)](const Probe& probe) {
        Match any = Match::No;
        for (const Condition& condition : conditions)
            any = std::max(any, condition(probe));
        return any;
    };
}

Condition NftablesMatch::equality(const QJsonValue& key, const QJsonValue& value) const {
    if (value[u"not there"].isString())
        return always(Match::Maybe);
    if (key[u"concat"].isArray()) {
        Condition all = always(Match::Yes);
        const QJsonArray parts = key[u"concat"].toArray();
        for (qsizetype i = 0; i < parts.size(); ++i)
            all = both(all, equality(parts[i], value[u"concat"][i]));
        return all;
    }
    if (key[u"meta"].isObject())
        return meta(key[u"meta"][u"key"].toString(), value);
    if (key[u"ct"].isObject())
        return tracked(key[u"ct"][u"key"].toString(), value);
    if (key[u"payload"].isObject())
        return payload(key[u"payload"].toObject(), value);
    const QJsonArray from = key[u"fib"][u"flags"].toArray();
    if (key[u"fib"][u"result"].toString() == u"type")
        return always(yesIf(value.toString() == (from.contains(u"daddr"_s) ? u"local" : u"unicast")));
    if (key[u"fib"][u"result"].toString() == u"oif" && value.isBool()) // an answer would go the same way
        return always(yesIf(value.toBool()));
    return always(key[u"exthdr"].isObject() || key[u"ipsec"].isObject() ? Match::No : Match::Maybe);
}

Condition NftablesMatch::meta(const QString& key, const QJsonValue& value) const {
    const QString text = textOf(value);
    if (key == u"iifname" || key == u"iif")
        return [text](const Probe& probe) { return interfaceMatch(probe, text, u'*'); };
    if (key == u"l4proto")
        return [text](const Probe& probe) { return protocolMatch(probe, text); };
    if (key == u"nfproto" || key == u"protocol")
        return [isIpv6 = text.endsWith(u'6'), isIp = text.startsWith(u"ip")](
                   const Probe& probe) { return yesIf(isIp && probe.isIpv6 == isIpv6); };
    if (key == u"pkttype")
        return always(yesIf(text == u"host" || text == u"unicast"));
    if (key == u"mark")
        return mark(value);
    if (key == u"ipsec" || key == u"secpath")
        return always(yesIf(!value.toBool(true)));
    return always(key == u"ibrname" || key == u"oifname" || key == u"oif" ? Match::No : Match::Maybe);
}

Condition NftablesMatch::tracked(const QString& key, const QJsonValue& value) const {
    if (key == u"mark")
        return mark(value);
    if (key == u"state")
        return always(yesIf(value.toString() == u"new"));
    if (key == u"direction")
        return always(yesIf(value.toString() == u"original"));
    const bool isOfOthers = key == u"helper" || (key == u"status" && value.toString().endsWith(u"nat"));
    return always(isOfOthers ? Match::No : Match::Maybe);
}

/// Packets have none unless somebody sets it.
Condition NftablesMatch::mark(const QJsonValue& value) const {
    return always(m_setsMarks || !value.isDouble() ? Match::Maybe : yesIf(value.toInteger() == 0));
}

Condition NftablesMatch::payload(const QJsonObject& field, const QJsonValue& value) const {
    const QString name = field[u"field"].toString();
    const Condition guard = guardOf(field[u"protocol"].toString());
    const QString text = textOf(value);
    const Range range = rangeOf(value);
    if (name == u"dport")
        return both(guard, always(portMatch(range.first.toInt(), range.last.toInt())));
    if (name == u"sport")
        return both(guard, always(sourcePortMatch(value)));
    if (field[u"protocol"].toString() == u"ether" && (name == u"saddr" || name == u"daddr"))
        return always(name == u"saddr" ? Match::No : Match::Maybe);
    if (name == u"saddr" || name == u"daddr")
        return both(guard, always(addressMatch(value, name == u"daddr")));
    if (name == u"protocol" || name == u"nexthdr")
        return both(guard, [text](const Probe& probe) { return protocolMatch(probe, text); });
    return both(guard, always(Match::Maybe));
}

/// The first packet of a connection has "syn" among its flags and nothing else.
Condition NftablesMatch::flags(const QJsonObject& left, const QString& op, const QJsonValue& right) const {
    const QJsonArray operands = left[u"&"].toArray();
    const QJsonValue field = operands.at(0);
    if (field[u"meta"][u"key"].toString() == u"mark" || field[u"ct"][u"key"].toString() == u"mark") {
        const Condition same = mark(right);
        return op == u"!=" ? negated(same) : same;
    }
    if (field[u"payload"][u"field"].toString() != u"flags" || field[u"payload"][u"protocol"].toString() != u"tcp")
        return always(Match::Maybe);
    const QJsonArray mask = elements(operands.at(1)[u"|"].isArray() ? operands.at(1)[u"|"] : operands.at(1));
    const QJsonArray wanted = elements(right[u"|"].isArray() ? right[u"|"] : right);
    const bool isSeen = mask.contains(u"syn"_s);
    const bool isSame = isSeen ? wanted == QJsonArray{u"syn"_s} : wanted == QJsonArray{0};
    const bool holds = op == u"in" ? isSeen && wanted.contains(u"syn"_s) : isSame == (op == u"==");
    return both(guardOf(u"tcp"_s), always(yesIf(holds)));
}
