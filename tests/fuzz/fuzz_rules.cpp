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

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const QByteArray bytes = bytesOf(data, size);
    const NftablesRuleSet read = readNftablesJson(bytes);
    for (const bool isIpv6 : {false, true}) {
        const bool refused = isRefused(read.rules, isIpv6);
        require(!refused || bytes.contains("drop") || bytes.contains("reject") || bytes.contains("REJECT"),
            "refused by nothing");
        require(!refused || read.failure.isEmpty(), "refused by a text that is not understood");
        RuleSet saved;
        const bool isWhole = addSavedTables(saved, bytes, isIpv6 ? u"ip6"_s : u"ip"_s, u"older"_s);
        require(!isWhole || !isRefused(saved, isIpv6) || bytes.contains("DROP") || bytes.contains("REJECT"),
            "refused by tables that drop nothing");
    }
    return 0;
}
