#pragma once

#include "ArchiveValue.h"

#include <optional>
#include <string>

/// The JSON form of state files: what JSON has stands as such; bytes are {"$data": base64}, dates {"$date": ISO text},
/// numbers that JSON lacks {"$double": "nan"} (inf, -inf), an object of a class of its own {"$class": name, its
/// fields}. A key of these three names that is meant as such has another "$" in front.
namespace ArchiveJson {

/// Indented text, keys sorted. What is written from it holds the same values, if not in the same bytes. Nothing for a
/// value whose texts stand at so many places that the JSON would be far longer than a state file may be.
std::optional<std::string> text(const Platform::ArchiveValue& root);

/// Nothing with @p reason when the text is not JSON, has a "$" form that is none, or is nested or long beyond what a
/// state file holds. Keys are inserted in the order in which they stand.
std::optional<Platform::ArchiveValue> value(const std::string& text, QString& reason);

} // namespace ArchiveJson
