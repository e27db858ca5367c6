#pragma once

#include "ArchiveValue.h"

namespace Platform {

/// Adds to @p values what @p value holds at @p depth, itself apart, each counted at every place where it stands. False
/// when these become more, or deeper within each other, than a property list may hold.
bool countValues(const ArchiveValue& value, int depth, size_t& values);

} // namespace Platform
