#pragma once

#include "ArchiveValue.h"

#include <algorithm>

/// What a property list or keyed archive may be at most, read or written; anything beyond is no property list.
namespace Platform::PropertyListLimits {

constexpr qint64 FileSize = 8 << 20;
/// Entries of the object table.
constexpr quint32 Objects = 262144;
/// Containers within each other.
constexpr int Depth = 128;
/// Values of a file, each counted at every place where it stands. What is not shared takes more than a byte a place, so
/// only files that are made to grow come near this.
constexpr quint32 values(qint64 fileSize) {
    constexpr qint64 PerByte = 4;
    return fileSize < Objects / PerByte ? static_cast<quint32>(PerByte * fileSize) : Objects;
}

/// Adds to @p values what @p value holds at @p depth, itself apart, each counted at every place where it stands. False
/// when these become more, or deeper within each other, than a property list may hold.
inline bool count(const ArchiveValue& value, int depth, size_t& values) {
    if (!value.isArray() && !value.isDictionary() && !value.isObject())
        return true;
    values += value.array().size() + value.dictionary().size();
    if (depth >= Depth || values > Objects)
        return false;
    const auto isWithin = [&](const ArchiveValue& inner) { return count(inner, depth + 1, values); };
    return std::all_of(value.array().begin(), value.array().end(), isWithin) &&
        std::all_of(value.dictionary().begin(), value.dictionary().end(),
            [&](const ArchiveEntry& entry) { return isWithin(entry.value); });
}

} // namespace Platform::PropertyListLimits
