#pragma once

#include "ArchiveValue.h"
#include "PropertyListLimits.h"

#include <algorithm>

namespace Platform {

/// Makes the values of a file out of its numbered objects, each once.
///
/// A value is counted at every place where it stands, before room is made for it, so that neither shared containers nor
/// cycles get far. Everything that reads gives the height of what it has read, that is how many containers stand within
/// each other, or Broken.
class ObjectReader {
protected:
    static constexpr int Broken = -1;

    /// @param objects  numbered from 0 on
    void start(size_t objects, qsizetype fileSize) {
        m_objects.resize(objects);
        m_left = PropertyListLimits::values(fileSize) - 1;
    }

    /// Room for @p entries in a container at @p depth.
    bool enter(quint64 entries, int depth) {
        if (depth >= PropertyListLimits::Depth || entries > m_left)
            return false;
        m_left -= static_cast<quint32>(entries);
        return true;
    }

    /// Object @p number, which @p read fills in the first time.
    template <typename Read>
    int readOnce(quint64 number, int depth, ArchiveValue& result, Read read) {
        if (number >= m_objects.size())
            return Broken;
        Object& object = m_objects[number];
        if (object.height == NotRead) {
            object.height = Broken; // while it is being read: nothing stands within itself
            const quint32 before = m_left;
            object.height = read(object.value);
            object.values = before - m_left;
        } else if (depth + object.height > PropertyListLimits::Depth || object.values > m_left) {
            return Broken;
        } else {
            m_left -= object.values;
        }
        result = object.value;
        return object.height;
    }

    /// The height of a container of @p count elements, each of which @p read reads.
    template <typename Read>
    static int readEach(quint32 count, Read read) {
        int height = 0;
        for (quint32 i = 0; i < count; ++i) {
            const int inner = read(i);
            if (inner == Broken)
                return Broken;
            height = std::max(height, inner);
        }
        return height + 1;
    }

    template <typename Read>
    int readArray(quint64 count, int depth, ArchiveValue& result, Read read) {
        if (!enter(count, depth))
            return Broken;
        ArchiveValue::Array items(count);
        const int height = readEach(static_cast<quint32>(count), [&](quint32 i) { return read(i, items[i]); });
        result = ArchiveValue(std::move(items));
        return height;
    }

    template <typename Read>
    int readDictionary(quint64 count, int depth, ArchiveValue& result, Read read) {
        if (!enter(count, depth))
            return Broken;
        ArchiveValue::Dictionary entries(count);
        const int height = readEach(static_cast<quint32>(count), [&](quint32 i) { return read(i, entries[i]); });
        result = ArchiveValue(std::move(entries));
        return height;
    }

private:
    static constexpr int NotRead = -2;

    struct Object {
        ArchiveValue value;
        quint32 values = 0;
        int height = NotRead;
    };

    std::vector<Object> m_objects;
    /// Values that may still come.
    quint32 m_left = 0;
};

} // namespace Platform
