#pragma once

#include "ArchiveValue.h"

#include <QHashFunctions>
#include <QVarLengthArray>

namespace Platform {

/// Which values of a file that is being written are one object. Knows the number of each object by what makes it one
/// with others.
class SharedObjects final {
public:
    SharedObjects() : m_places(SmallestSize) {}

    /// The number that was given for such a value before; otherwise @p number, which is remembered if @p value can be
    /// one with others.
    quint32 numberOf(const ArchiveValue& value, quint32 number);
    /// Likewise for a text that is no instance.
    quint32 numberOfText(const QString& text, quint32 number);
    /// Likewise for a key: equal ones are one unless they are instances of their own.
    quint32 numberOfKey(const QString& key, quint32 instance, quint32 number);
    /// Likewise for a class.
    quint32 numberOfClass(const QString& name, quint32 number);

private:
    static constexpr qsizetype SmallestSize = 64;

    struct Place {
        quint64 identity = 0;
        quint32 number = 0;
        /// In m_texts, of a hash.
        quint32 text = 0;
    };

    /// The size is a power of two.
    qsizetype placeAt(size_t hash) const { return static_cast<qsizetype>(hash) & (m_places.size() - 1); }
    /// @param text  given where the identity is a hash of it
    Place& find(quint64 identity, const QString* text);
    quint32 findOrInsert(quint64 identity, const QString* text, quint32 number);
    void grow();
    quint32 numberOfHashed(quint64 kind, const QString& text, quint32 number);

    /// An open hash table, since most of the time of a small archive would go into a QHash.
    QVarLengthArray<Place, SmallestSize> m_places;
    qsizetype m_count = 0;
    QVarLengthArray<QString, SmallestSize / 4> m_texts;
    const size_t m_seed = QHashSeed::globalSeed();
};

} // namespace Platform
