#pragma once

#include <QtGlobal>

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

} // namespace Platform::PropertyListLimits
