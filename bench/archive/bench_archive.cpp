// Reading and writing keyed archives beside libplist, which reads the same bytes to nodes and writes bytes from the
// same nodes, without giving its nodes a meaning.

#include "BenchHarness.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"

#include <plist/plist.h>

#include <cstdlib>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

/// A signed-in record, as most state files are.
ArchiveValue smallRoot() {
    ArchiveValue root = ArchiveValue::object(u"AccountModel"_s);
    root.setField(u"ticket"_s, u"k2J9Qm4xVtY0aZ8cP1sLwA=="_s);
    root.setField(u"qenStatus"_s, 0);
    root.setField(u"userid"_s, u"10023"_s);
    root.setField(u"loginType"_s, 1);
    return root;
}

/// A list of tools with texts of their own, as the agent writes it.
ArchiveValue largeRoot() {
    ArchiveValue::Array tools;
    for (int i = 0; i < 150; ++i) {
        const QString number = QString::number(i);
        ArchiveValue tool;
        tool.insert(u"appname"_s, u"办公工具 "_s + number);
        tool.insert(u"identifier"_s, u"com.example.tools.tool-"_s + number);
        tool.insert(u"download_url"_s, u"https://example.invalid/download/packages/tool-%1.dmg"_s.arg(number));
        tool.insert(u"description"_s, u"Opens the tool number %1 for the signed-in user"_s.arg(number));
        tool.insert(u"order"_s, i);
        tool.insert(u"enabled"_s, i % 3 != 0);
        tools.push_back(tool);
    }
    ArchiveValue root;
    root.insert(u"trustedapp"_s, ArchiveValue(std::move(tools)));
    return root;
}

void measure(const std::string& size, const ArchiveValue& root) {
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(root);
    std::printf(
        "{\"case\": \"archive_size_%s\", \"bytes\": %lld}\n", size.c_str(), static_cast<long long>(bytes.size()));
    const auto length = static_cast<uint32_t>(bytes.size());
    plist_t nodes = nullptr;
    plist_from_bin(bytes.constData(), length, &nodes);

    const std::string read = "archive_read_" + size;
    const std::string write = "archive_write_" + size;
    Bench::compare(
        read, [&] { Bench::keep(Platform::KeyedUnarchiver::unarchivedObject(bytes, Platform::AllowedClasses::any())); },
        "libplist_" + read,
        [&] {
            plist_t made = nullptr;
            plist_from_bin(bytes.constData(), length, &made);
            Bench::keep(made);
            plist_free(made);
        },
        read + "_to_libplist");
    Bench::compare(
        write, [&] { Bench::keep(Platform::KeyedArchiver::archivedData(root)); }, "libplist_" + write,
        [&] {
            char* made = nullptr;
            uint32_t madeLength = 0;
            plist_to_bin(nodes, &made, &madeLength);
            Bench::keep(made);
            // The library's own name for this differs from release to release.
            std::free(made);
        },
        write + "_to_libplist");
    plist_free(nodes);
}

} // namespace

int main() {
    measure("300", smallRoot());
    measure("50k", largeRoot());
    return 0;
}
