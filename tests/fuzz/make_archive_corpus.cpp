// make_archive_corpus FOLDER: writes the inputs of fuzz_archive.

#include "CraftedArchive.h"
#include "KeyedArchiver.h"

#include <cstdio>
#include <fstream>
#include <limits>
#include <string>

using namespace CraftedArchive;
using Platform::ArchiveValue;
using Platform::KeyedArchiver;

namespace {

ArchiveValue record() {
    ArchiveValue object = ArchiveValue::object("AccountModel");
    object.setField("ticket", "dGhpcyBpcyBsb25nZXI=");
    object.setField("qenStatus", 0);
    object.setField("userid", "u1");
    object.setField("username", "张三");
    object.setField("domainName", "");
    return object;
}

ArchiveValue allKinds() {
    ArchiveValue value;
    value.insert("numbers",
        ArchiveValue(ArchiveValue::Array{0, -1, 70000, 1.5, true, false, std::numeric_limits<quint64>::max()}));
    value.insert("list",
        ArchiveValue(ArchiveValue::Array{"a", ArchiveValue::null(), ArchiveValue::date(0.1), QByteArray("bytes")})
            .asMutable());
    value.insert("text", ArchiveValue("公司").asMutable());
    return value;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    const ArchiveValue listClass = classEntry("NSArray", {"NSArray", "NSObject"});
    QByteArray xml = Platform::PropertyList::xmlData(ArchiveValue(ArchiveValue::Dictionary{
        {"a", 1}, {"b", ArchiveValue(ArchiveValue::Array{true, 0.5, ArchiveValue::date(1), QByteArray("x")})}}));
    const std::pair<const char*, QByteArray> inputs[] = {
        {"record", KeyedArchiver::archivedData(record())},
        {"all_kinds", KeyedArchiver::archivedData(allKinds())},
        {"odd_fields", oddFields()},
        {"nil", KeyedArchiver::archivedData(ArchiveValue())},
        {"text", KeyedArchiver::archivedData("userPolicyRequest")},
        {"older_order", archive({arrayEntry({2}, 3), "a", listClass})},
        {"cycle", archive({arrayEntry({2}, 3), arrayEntry({1}, 3), listClass})},
        {"shared_many_times", sharedLists(40, 0)},
        {"shared_longer_than_the_file", sharedLists(40, 24)},
        {"nil_key", nilKey()},
        {"no_class",
            archive({ArchiveValue(ArchiveValue::Dictionary{{"NS.objects", ArchiveValue(ArchiveValue::Array())}})})},
        {"plain_list",
            Platform::PropertyList::binaryData(
                ArchiveValue(ArchiveValue::Dictionary{{"CFBundleName", "Mav"}, {"versions", QStringList{"1", "2"}}}))},
        {"list_in_itself", binary({QByteArray("\xa1\x00", 2)})},
        {"count_too_large", binary({QByteArray("\xaf\x13\x7f\xff\xff\xff\xff\xff\xff\xff", 10)})},
        {"wide_text_cut",
            binary({"\x6f\x10\x20"
                    "ab"})},
        {"xml", xml},
        {"xml_not_closed", xml.left(xml.size() / 2)},
        {"xml_entities",
            "<!DOCTYPE plist [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;\">]><plist><string>&b;</string></plist>"},
    };
    for (const auto& [name, bytes] : inputs) {
        std::ofstream file(std::string(argv[1]) + '/' + name, std::ios::binary);
        file.write(bytes.constData(), bytes.size());
        if (!file.flush())
            return 1;
    }
    std::printf("%zu inputs written\n", std::size(inputs));
    return 0;
}
