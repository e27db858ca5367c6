#pragma once

#include "ArchiveValue.h"
#include "PropertyListLimits.h"

#include <algorithm>

namespace Platform {

/// Adds to @p values what @p value holds at @p depth, itself apart, each counted at every place where it stands. False
/// when these become more, or deeper within each other, than a property list may hold.
inline bool countValues(const ArchiveValue& value, int depth, size_t& values) {
    if (!value.isArray() && !value.isDictionary() && !value.isObject())
        return true;
    values += value.array().size() + value.dictionary().size();
    if (depth >= PropertyListLimits::Depth || values > PropertyListLimits::Objects)
        return false;
    const auto isWithin = [&](const ArchiveValue& inner) { return countValues(inner, depth + 1, values); };
    return std::all_of(value.array().begin(), value.array().end(), isWithin) &&
        std::all_of(value.dictionary().begin(), value.dictionary().end(),
            [&](const ArchiveEntry& entry) { return isWithin(entry.value); });
}

} // namespace Platform
