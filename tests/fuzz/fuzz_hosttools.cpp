// What the host tools read of the system, from any bytes: nothing may crash or take long, and no damage turns a
// firewall on.

#include "KeyFile.h"
#include "Mounts.h"
#include "NftablesJson.h"
#include "PropertyList.h"
#include "PropertyListText.h"
#include "SavedTables.h"

#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "fuzz_hosttools: %s\n", what);
    std::abort();
}

bool isRefused(const RuleSet& rules, bool isIpv6) {
    return judge(rules, isIpv6, {u"eth0"_s}).state == FilterVerdict::State::Refused;
}

void readRules(const QByteArray& bytes) {
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
}

void readMounts(const QByteArray& bytes) {
    const auto mounts = Mounts::parsed(bytes);
    if (!mounts)
        return;
    require(!mounts->at(u"/"_s) || mounts->holding(u"/no/such/folder"_s), "below the root and on nothing");
    for (const Mount& mount : mounts->visible())
        require(!mount.point.startsWith(u'/') || mounts->holding(mount.point), "a place of a mount on nothing");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    readRules(bytes);
    readMounts(bytes);
    for (const auto& group : parseKeyFile(bytes))
        require(!group.contains(QString()), "a setting without a name");
    if (const auto list = Platform::PropertyList::decoded(bytes))
        require(!propertyListText(*list).contains(QChar(0)) || bytes.contains('\0'), "a zero from nowhere");
    return 0;
}
