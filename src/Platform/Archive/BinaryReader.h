#pragma once

#include "ArchiveValue.h"
#include "BinaryFile.h"
#include "PropertyListLimits.h"

#include <QVarLengthArray>

#include <algorithm>

namespace Platform {

/// Makes the value below an object of a binary property list.
///
/// A value is counted at every place where it stands, before room is made for it, so that neither shared containers nor
/// cycles get far; all texts and data together never become longer than two such files, however the objects
/// overlap. Everything that reads gives the height of what it has read, that is how many containers stand within each
/// other, or Broken, and expects a result that is Nothing.
class BinaryReader {
public:
    static constexpr int Broken = -1;

    explicit BinaryReader(QByteArrayView bytes);
    virtual ~BinaryReader() = default;

    /// The whole list.
    std::optional<ArchiveValue> readRoot();

protected:
    using Object = BinaryFile::Object;
    /// What is remembered of each object of a file; most files are small.
    using Places = QVarLengthArray<quint32, 64>;

    int read(quint32 number, int depth, ArchiveValue& result);
    /// What a reference of a keyed archive is; here that dictionary of one pair.
    virtual int readUid(quint64 uid, int depth, ArchiveValue& result);
    /// A number, date, text or data.
    bool readScalar(quint32 number, const Object& object, ArchiveValue& result);
    /// Null for what is no text.
    QString readText(quint32 number) { return readText(number, m_file.object(number)); }
    QString readText(quint32 number, const Object& object);

    /// Room for @p entries in a container at @p depth.
    bool enter(quint32 entries, int depth) {
        if (depth >= PropertyListLimits::Depth || entries > m_left)
            return false;
        m_left -= entries;
        return true;
    }

    void leave(quint32 entries) { m_left += entries; }

    /// A container that @p readIt fills in, the first two times.
    /// @param place  0 before that; remembers it
    template <typename ReadIt>
    int readKept(quint32& place, int depth, ArchiveValue& result, ReadIt readIt) {
        if (place > Met)
            return readAgain(place, depth, result);
        const bool isFirst = place == 0;
        place = BeingRead;
        const quint32 before = m_left;
        const int height = readIt();
        place = isFirst ? Met : keep({result, before - m_left, height});
        return height;
    }

    /// The height of a container of @p count elements, each of which @p readOne reads.
    template <typename ReadOne>
    static int readEach(quint32 count, ReadOne readOne) {
        int height = 0;
        for (quint32 i = 0; i < count; ++i) {
            const int inner = readOne(i);
            if (inner == Broken)
                return Broken;
            height = std::max(height, inner);
        }
        return height + 1;
    }

    template <typename ReadOne>
    int readArray(quint32 count, int depth, ArchiveValue& result, ReadOne readOne) {
        if (!enter(count, depth))
            return Broken;
        ArchiveValue::Array items(count);
        const int height = readEach(count, [&](quint32 i) { return readOne(i, items[i]); });
        std::construct_at(&result, std::move(items));
        return height;
    }

    template <typename ReadOne>
    int readDictionary(quint32 count, int depth, ArchiveValue& result, ReadOne readOne) {
        if (!enter(count, depth))
            return Broken;
        ArchiveValue::Dictionary entries(count);
        const int height = readEach(count, [&](quint32 i) { return readOne(i, entries[i]); });
        std::construct_at(&result, std::move(entries));
        return height;
    }

    const BinaryFile m_file;

private:
    struct Kept {
        ArchiveValue value;
        quint32 values;
        int height;
    };
    /// What is remembered of an object: 0 at first, Met when it was made once, from then on its place in m_kept. Most
    /// are made once.
    static constexpr quint32 Met = 1;
    static constexpr quint32 BeingRead = 2;
    static constexpr quint32 FirstKept = 3;

    bool take(qsizetype bytes) {
        m_textLeft -= bytes;
        return m_textLeft >= 0;
    }
    quint32 keep(Kept kept) {
        m_kept.push_back(std::move(kept));
        return static_cast<quint32>(m_kept.size() - 1 + FirstKept);
    }
    int readAgain(quint32 place, int depth, ArchiveValue& result);

    std::vector<Kept> m_kept;
    /// By number of object.
    Places m_places;
    /// Values that may still come.
    quint32 m_left;
    /// Bytes of texts and data that may still come.
    qsizetype m_textLeft;
};

} // namespace Platform
