#pragma once

#include <QStringView>

#include <vector>

namespace Platform {

class ArchiveValue;

/// What makes a value of an archive one with others: the same number for all of them.
namespace Identity {

constexpr quint64 None = 0;

/// Where a text stands decides what it is one with, apart from its instance.
enum class Place : quint64 { DictionaryKey = 6, FieldName = 7, Constant = 8 };

/// Of a string that the platform holds in the pointer itself: up to 7 ASCII characters, or up to 11 of small alphabets;
/// None for any other.
quint64 ofHeldString(QStringView text);
quint64 ofValue(const ArchiveValue& value);
/// Never None. For a text as long as any it is made of a hash, so a hit has to be compared.
quint64 ofText(QStringView text, quint32 keyInstance, Place place);

} // namespace Identity

/// Finds the number of a value by its identity. Open addressing in room that is kept: with a QHash a whole archive
/// takes an eighth longer.
class InstanceTable final {
public:
    static constexpr quint32 None = 0xffffffff;

    InstanceTable() { clear(); }
    void clear();
    /// The number that was given before; None when there is none, and then @p number is remembered.
    quint32 findOrInsert(quint64 identity, quint32 number);

private:
    struct Place {
        quint64 identity = Identity::None;
        quint32 number = 0;
    };

    Place& find(quint64 identity);
    void grow();

    std::vector<Place> m_places;
    size_t m_count = 0;
};

} // namespace Platform
