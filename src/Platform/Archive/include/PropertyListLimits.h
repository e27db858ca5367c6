#pragma once

#include <QtGlobal>

/// What a property list or keyed archive may be at most, read or written; anything beyond is no property list.
namespace Platform::PropertyListLimits {

constexpr qint64 FileSize = 8 << 20;
/// Entries of the object table, and values after every shared one has been counted at each place where it stands.
constexpr quint32 Objects = 262144;
/// Containers within each other.
constexpr int Depth = 128;

} // namespace Platform::PropertyListLimits
