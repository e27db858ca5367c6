#pragma once

#include "AllowedClasses.h"
#include "ArchiveValue.h"

#include <optional>

namespace Platform {

/// Reads the root object of a keyed archive, that of current and of older systems.
///
/// Strings, numbers, dates, data, arrays and dictionaries come out as such, everything else as an object with its
/// fields. An archive that breaks a rule or a limit of PropertyListLimits, or holds an object of a class that is not
/// allowed, gives nothing, in bounded time and memory.
class KeyedUnarchiver final {
public:
    /// @param rootKey  given to read an archive of one object under any key; takes the key. Else only "root" will do.
    /// @returns a value of type Nothing when the archive's root is no object
    static std::optional<ArchiveValue> unarchivedObject(
        const QByteArray& data, const AllowedClasses& allowed, QString* rootKey = nullptr);
};

} // namespace Platform
