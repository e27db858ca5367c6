#pragma once

#include "ArchiveValue.h"
#include "BinaryPropertyListReader.h"

namespace Platform::ArchiveScalars {

/// Reads a string, number, date or data into @p result, which is Nothing before; false for anything else, and for texts
/// or data that are too long together.
bool read(BinaryPropertyListReader& reader, quint32 index, const BinaryPropertyListReader::Object& object,
    ArchiveValue& result);

} // namespace Platform::ArchiveScalars
