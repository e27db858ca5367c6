// The support tool's JSON from any bytes: what is read as a value is written and read as the same one.

#include "ArchiveJson.h"
#include "Fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    QString reason;
    const auto value = ArchiveJson::value(bytesOf(data, size).toStdString(), reason);
    require(value.has_value() == reason.isEmpty(), "refused without a reason");
    const auto text = value ? ArchiveJson::text(*value) : std::nullopt;
    if (!text)
        return 0;
    const auto again = ArchiveJson::value(*text, reason);
    require(again.has_value(), "what was written is not read");
    require(*again == *value, "what was written is read as something else");
    require(ArchiveJson::text(*again) == text, "the same value is written differently");
    return 0;
}
