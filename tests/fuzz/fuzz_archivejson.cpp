// The support tool's JSON from any bytes: what is read as a value is written and read as the same one.

#include "ArchiveJson.h"
#include "Fuzzing.h"

void fuzz(const QByteArray& input) {
    QString reason;
    const auto value = ArchiveJson::value(input.toStdString(), reason);
    require(value.has_value() == reason.isEmpty(), "refused without a reason");
    const auto text = value ? ArchiveJson::text(*value) : std::nullopt;
    if (!text)
        return;
    const auto again = ArchiveJson::value(*text, reason);
    require(again.has_value(), "what was written is not read");
    require(*again == *value, "what was written is read as something else");
    require(ArchiveJson::text(*again) == text, "the same value is written differently");
}
