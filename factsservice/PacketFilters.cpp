#include "PacketFilters.h"

#include "FactsService.h"
#include "NetworkService.h"
#include "NftablesJson.h"
#include "SavedTables.h"

using namespace Qt::StringLiterals;

namespace {

/// Of one command. Whoever asks waits half a second.
constexpr std::chrono::milliseconds Limit{200};
constexpr qsizetype MostBytes = 8 << 20;
constexpr qsizetype MostInterfaces = 16;

/// Why a command that lists rules has not; Yes when it has.
Finding endOf(const CommandOutput& output, const QString& command) {
    switch (output.end) {
    case CommandOutput::End::Missing:
        return Finding::unknown(u"firewall.command-missing"_s, command);
    case CommandOutput::End::Failed:
        return Finding::unknown(u"firewall.command-failed"_s, command);
    case CommandOutput::End::Late:
        return Finding::unknown(u"firewall.command-late"_s, command);
    case CommandOutput::End::TooMuch:
        return Finding::unknown(u"firewall.too-many-rules"_s, command);
    default:
        return Finding::yes();
    }
}

Finding findingOf(const FilterVerdict& verdict, const QString& family) {
    switch (verdict.state) {
    case FilterVerdict::State::Refused:
        return Finding::yes();
    case FilterVerdict::State::Open:
        return Finding::no(u"firewall.open"_s, family + u", "_s + verdict.subject);
    default:
        return Finding::unknown(u"firewall.rules-unclear"_s, verdict.subject);
    }
}

} // namespace

QMap<QString, QString> PacketFilters::Answer::texts() const {
    QMap<QString, QString> all{{u"version"_s, QString::fromLatin1(FactsProtocol::Version)}};
    for (const auto& [family, finding] : {std::pair(u"ip"_s, ip), std::pair(u"ip6"_s, ip6)}) {
        all.insert(family, finding.isYes() ? u"refused"_s : finding.isNo() ? u"open"_s : u"unknown"_s);
        if (!finding.isYes()) {
            all.insert(family + u".code"_s, finding.code);
            all.insert(family + u".subject"_s, finding.subject);
        }
    }
    return all;
}

PacketFilters::Answer PacketFilters::find() const {
    RuleSet rules;
    QSet<QString> needsSaveCommand;
    const Finding common = addNftables(rules, needsSaveCommand);
    const auto judged = [&](const QString& family) {
        const bool isIpv6 = family == u"ip6";
        const QString prefix = isIpv6 ? u"ip6tables"_s : u"iptables"_s;
        Finding state = common;
        if (state.isYes() && needsSaveCommand.contains(family))
            state = addSaved(rules, prefix + u"-nft-save"_s, {}, family, family);
        if (state.isYes())
            state = addOlderTables(rules, family);
        return state.isYes() ? findingOf(judge(rules, isIpv6, interfaces()), isIpv6 ? u"IPv6"_s : u"IPv4"_s) : state;
    };
    return {judged(u"ip"_s), judged(u"ip6"_s)};
}

Finding PacketFilters::addNftables(RuleSet& rules, QSet<QString>& needsSaveCommand) const {
    if (m_facts.kernelHas("nf_tables") == false)
        return Finding::yes();
    const QString command = u"nft"_s;
    const CommandOutput output =
        runHostCommand(m_facts, command, {u"--json"_s, u"list"_s, u"ruleset"_s}, Limit, MostBytes);
    const Finding end = endOf(output, command);
    if (!end.isYes())
        return end;
    NftablesRuleSet read = readNftablesJson(output.output);
    rules = std::move(read.rules);
    needsSaveCommand = read.needsSaveCommand;
    return read.failure.isEmpty() ? end : Finding::unknown(u"firewall.format-unknown"_s, read.failure);
}

Finding PacketFilters::addSaved(RuleSet& rules, const QString& command, const QStringList& arguments,
    const QString& family, const QString& place) const {
    const CommandOutput output = runHostCommand(m_facts, command, arguments, Limit, MostBytes);
    const Finding end = endOf(output, command);
    if (!end.isYes() || addSavedTables(rules, output.output, family, place))
        return end;
    return Finding::unknown(u"firewall.format-unknown"_s, command + u" prints an unknown form"_s);
}

/// Tables that the kernel holds beside those of nftables. To ask for one that is not there would load it.
Finding PacketFilters::addOlderTables(RuleSet& rules, const QString& family) const {
    const QByteArray modules = '\n' + m_facts.text(u"/proc/modules"_s).bytes;
    const auto isLoaded = [&](const QString& module) { return modules.contains('\n' + module.toLatin1() + ' '); };
    const bool isBuiltIn =
        m_facts.exists(u"/proc/net/%1_tables_names"_s.arg(family)) && !isLoaded(family + u"_tables"_s);
    Finding result = Finding::yes();
    for (const QString& table : {u"filter"_s, u"mangle"_s, u"raw"_s}) {
        if (result.isYes() && (isLoaded(family + u"table_"_s + table) || (isBuiltIn && table == u"filter")))
            result = addSaved(rules, family + u"tables-legacy-save"_s, {u"-t"_s, table}, family, u"older "_s + family);
    }
    return result;
}

/// By which the outside comes in.
QStringList PacketFilters::interfaces() const {
    QStringList found;
    for (const QString& name : m_facts.names(u"/sys/class/net"_s)) {
        if (standsOnHardware(m_facts, name))
            found.append(name);
    }
    return found.mid(0, MostInterfaces);
}
