#pragma once

#include "ArchiveValue.h"

#include <QHash>

namespace Platform {

/// Which values of a file that is being written are one object. Knows the number of each object by what makes it one
/// with others.
class SharedObjects final {
public:
    /// The number that was given for such a value before; otherwise @p number, which is remembered if @p value can be
    /// one with others.
    quint32 numberOf(const ArchiveValue& value, quint32 number);
    /// Likewise for the key of a pair: equal ones are one unless they are instances of their own.
    quint32 numberOfKey(const ArchiveEntry& pair, quint32 number);

private:
    QHash<quint64, quint32> m_values;
    QHash<QString, quint32> m_keys;
};

} // namespace Platform
