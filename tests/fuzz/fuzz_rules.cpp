// What the packet filter tools print, from any bytes: no damage turns a firewall on.

#include "Fuzzing.h"
#include "NftablesJson.h"
#include "SavedTables.h"

using namespace Qt::StringLiterals;

namespace {

bool isRefused(const RuleSet& rules, bool isIpv6) {
    return judge(rules, isIpv6, {u"eth0"_s}).state == FilterVerdict::State::Refused;
}

} // namespace

void fuzz(const QByteArray& input) {
    const NftablesRuleSet read = readNftablesJson(input);
    for (const bool isIpv6 : {false, true}) {
        const bool refused = isRefused(read.rules, isIpv6);
        require(!refused || input.contains("drop") || input.contains("reject") || input.contains("REJECT"),
            "refused by nothing");
        require(!refused || read.failure.isEmpty(), "refused by a text that is not understood");
        RuleSet saved;
        const bool isWhole = addSavedTables(saved, input, isIpv6 ? u"ip6"_s : u"ip"_s, u"older"_s);
        require(!isWhole || !isRefused(saved, isIpv6) || input.contains("DROP") || input.contains("REJECT"),
            "refused by tables that drop nothing");
    }
}
