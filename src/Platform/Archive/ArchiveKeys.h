#pragma once

#include "BinaryPropertyListReader.h"
#include "PropertyListLimits.h"

#include <algorithm>

namespace Platform {

/// A key of the archiver's own, shorter than 15 characters. Dictionaries of one kind have their keys in one order,
/// mostly as the same objects, so both are remembered.
struct ArchiveKey {
    QByteArrayView text;
    /// Where in a dictionary it is looked for first.
    quint32 place = 0;
    quint32 object = BinaryPropertyListReader::NoObject;
};

/// Finds values by key in the dictionaries of an archive that is being read.
///
/// All looking is counted: overlapping objects must not make a small file long work. Past the limit nothing is found.
class ArchiveKeys final {
public:
    using Reader = BinaryPropertyListReader;

    explicit ArchiveKeys(Reader& reader) : m_reader(reader) {}

    /// The object under @p key; NoObject without one, or when @p dictionary is none.
    quint32 find(const Reader::Object& dictionary, ArchiveKey& key) {
        if (dictionary.kind != Reader::Kind::Dictionary)
            return Reader::NoObject;
        if (m_lookedAt >= LookLimit)
            return Reader::NoObject;
        const quint32 pairs = std::min(dictionary.count, LookLimit - m_lookedAt);
        ++m_lookedAt;
        if (key.place >= pairs || !is(m_reader.reference(dictionary, key.place), key)) {
            const quint32 place = m_reader.findKey(dictionary, key.text, pairs);
            m_lookedAt += place;
            if (place == pairs)
                return Reader::NoObject;
            key.place = place;
            key.object = m_reader.reference(dictionary, place);
        }
        return m_reader.reference(dictionary, dictionary.count + key.place);
    }

    /// True when object @p index is the text of @p key.
    bool is(quint32 index, ArchiveKey& key) const {
        if (index == key.object)
            return index != Reader::NoObject;
        if (!m_reader.isText(index, key.text))
            return false;
        key.object = index;
        return true;
    }

    /// Counts @p names that are looked at elsewhere; false past the limit.
    bool count(quint32 names) {
        m_lookedAt += names;
        return m_lookedAt <= LookLimit;
    }

private:
    static constexpr quint32 LookLimit = 8 * PropertyListLimits::Objects;

    Reader& m_reader;
    quint32 m_lookedAt = 0;
};

} // namespace Platform
