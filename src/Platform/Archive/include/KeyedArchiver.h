#pragma once

#include "ArchiveValue.h"

using namespace Qt::StringLiterals;

namespace Platform {

/// Writes a value as a keyed archive, byte for byte as the platform's archiver of current systems does.
///
/// Every value made in this process is an instance of its own, so two equal long strings are written twice, and so are
/// two copies of one value. Short strings that the platform holds in a pointer, booleans, integers of up to 56 bits and
/// equal dictionary keys are written once without being asked. ArchiveValue::asOneInstance() makes all copies of its
/// result one object.
class KeyedArchiver final {
public:
    /// Empty when the value is beyond PropertyListLimits, so that it could not be read again.
    static QByteArray archivedData(const ArchiveValue& root, const QString& rootKey = u"root"_s);
};

} // namespace Platform
