// What the host tools read of the system, from any bytes: nothing may crash or take long, and no damage turns a
// firewall on.

#include "KeyFile.h"
#include "Mounts.h"
#include "NftablesRules.h"
#include "PropertyList.h"
#include "PropertyListText.h"

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

void readRules(const QByteArray& bytes) {
    const Finding finding = nftablesRefuseByDefault(bytes);
    require(!finding.isYes() || bytes.contains("drop") || bytes.contains("reject"), "refused by nothing");
    require(!finding.isYes() || bytes.contains("input"), "refused for another way than in");
    require(!nftablesRefuseByDefault(bytes + "\n}}}}}}}}\nflush ruleset\n").isYes() || bytes.count('{') > 8,
        "refused by rules that are taken away");
}

void readMounts(const QByteArray& bytes) {
    const auto mounts = parseMounts(bytes);
    if (!mounts)
        return;
    const Mount* root = mountAt(*mounts, u"/"_s);
    require(!root || mountHolding(*mounts, u"/no/such/folder"_s), "below the root and on nothing");
    for (const Mount& mount : *mounts)
        require(!mount.point.startsWith(u'/') || mountHolding(*mounts, mount.point), "a place of a mount on nothing");
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
