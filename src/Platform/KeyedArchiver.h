#pragma once

#include "ArchiveValue.h"

namespace Platform {

/// Writes a value as a keyed archive, byte for byte as the platform's archiver of current systems does.
class KeyedArchiver final {
public:
    /// Empty when the value is beyond PropertyListLimits, so that it could not be read again.
    static QByteArray archivedData(const ArchiveValue& root, const QString& rootKey = QStringLiteral("root"));
};

} // namespace Platform
