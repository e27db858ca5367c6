#pragma once

#include "ArchiveValue.h"

#include <QHashFunctions>
#include <QVarLengthArray>

namespace Platform {

/// Which values of a file that is being written are one object. Knows the number of each object by what makes it one
/// with others.
class SharedObjects final {
public:
    /// The number that was given for such a value before; otherwise @p number, which is remembered if @p value can be
    /// one with others.
    quint32 numberOf(const ArchiveValue& value, quint32 number);
    /// Likewise for a key: equal ones are one unless they are instances of their own.
    quint32 numberOfKey(const QString& key, quint32 instance, quint32 number);

private:
    struct Place {
        quint64 identity = 0;
        quint32 number = 0;
        /// Where the identity is a hash of it.
        QString text;
    };

    quint32 findOrInsert(quint64 identity, const QString* text, quint32 number);
    void grow();

    /// An open hash table, since most of the time of a small archive would go into a QHash. Its size is a power of two.
    QVarLengthArray<Place, 64> m_places = QVarLengthArray<Place, 64>(64);
    size_t m_count = 0;
    const size_t m_seed = QHashSeed::globalSeed();
};

} // namespace Platform
