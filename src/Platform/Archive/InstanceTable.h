#pragma once

#include <QStringView>

#include <vector>

namespace Platform {

class ArchiveValue;

/// What makes a value of an archive one with others: two numbers, each 0 when it makes it one with nobody.
struct Identity {
    /// Where a text stands decides what it is one with, apart from its instance.
    enum class Place : quint64 { DictionaryKey = 6, FieldName = 7, Constant = 8 };

    /// The same for all copies of an instance that was read or asked for.
    quint64 instance = 0;
    /// The same for equal values that the platform always makes one. For texts as long as any this is made of a hash,
    /// so a hit has to be compared.
    quint64 content = 0;

    bool isShared() const { return instance != 0 || content != 0; }

    /// Content of a string that the platform holds in the pointer itself: up to 7 ASCII characters, or up to 11 of
    /// small alphabets; 0 for any other.
    static quint64 ofHeldString(QStringView text);
    static Identity ofValue(const ArchiveValue& value);
    static Identity ofText(QStringView text, quint64 keyInstance, Place place);
};

/// Finds the number of a value that is one with another, by open addressing.
class InstanceTable final {
public:
    static constexpr quint32 None = 0xffffffff;

    InstanceTable() : m_places(SmallestSize) {}
    void clear();
    /// The number of a value that @p identity is one with; None when there is none, and then it is stored as @p number.
    /// Two values that were read as two stay two, even where the content alone would make them one.
    quint32 findOrInsert(const Identity& identity, quint32 number);

private:
    static constexpr size_t SmallestSize = 64;

    struct Place {
        quint64 key = 0;
        quint32 number = 0;
        bool hasInstance = false;
    };

    Place& find(quint64 key);
    void insert(Place& place, const Place& value);
    void grow();

    std::vector<Place> m_places;
    size_t m_count = 0;
};

} // namespace Platform
