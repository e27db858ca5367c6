#pragma once

#include "BinaryFile.h"
#include "PropertyListLimits.h"

#include <QVarLengthArray>

namespace Platform {

/// Makes the value below an object of a binary property list.
///
/// A value is counted at every place where it stands, before room is made for it, so that neither shared containers nor
/// cycles get far; all texts and data together never become longer than two such files, however the objects overlap.
/// What reads expects a result that is Nothing, and returns false when nothing can be made of the file.
class BinaryReader {
public:
    explicit BinaryReader(QByteArrayView bytes);
    virtual ~BinaryReader() = default;

    /// The whole list.
    std::optional<ArchiveValue> readRoot();

protected:
    using Object = BinaryFile::Object;
    /// What is remembered of each object of a file; most files are small.
    using Places = QVarLengthArray<quint32, 64>;

    bool read(quint32 number, int depth, ArchiveValue& result);
    /// What a reference of a keyed archive is; here that dictionary of one pair.
    virtual bool readUid(quint64 uid, int depth, ArchiveValue& result);
    /// A number, date, text or data.
    bool readScalar(quint32 number, const Object& object, ArchiveValue& result);
    /// Null for what is no text.
    QString readText(quint32 number);

    /// Room for @p entries in a container at @p depth.
    bool enter(quint32 entries, int depth) {
        m_left -= entries;
        return depth < PropertyListLimits::Depth && m_left >= 0;
    }
    void leave(quint32 entries) { m_left += entries; }

    /// A container that @p readIt fills in, the first two times.
    /// @param place  0 before that; remembers it
    template <typename ReadIt>
    bool readKept(quint32& place, int depth, ArchiveValue& result, ReadIt readIt) {
        if (place > Met)
            return readAgain(place, depth, result);
        const bool isFirst = place == 0;
        place = BeingRead;
        const bool isRead = readIt();
        place = isFirst ? Met : keep(result);
        return isRead;
    }

    template <typename ReadOne>
    bool readArray(quint32 count, int depth, ArchiveValue& result, ReadOne readOne) {
        bool isRead = enter(count, depth);
        ArchiveValue::Array items(isRead ? count : 0);
        for (quint32 i = 0; i < count && isRead; ++i)
            isRead = readOne(i, items[i]);
        std::construct_at(&result, std::move(items));
        return isRead;
    }

    const BinaryFile m_file;

private:
    /// What is remembered of an object: 0 at first, Met when it was made once, from then on its place in m_kept. Most
    /// are made once.
    static constexpr quint32 Met = 1;
    static constexpr quint32 BeingRead = 2;
    static constexpr quint32 FirstKept = 3;

    quint32 keep(const ArchiveValue& value) {
        m_kept.push_back(value);
        return static_cast<quint32>(m_kept.size() - 1 + FirstKept);
    }
    /// Of a text; null when there are too many of them.
    QString textOf(quint32 number, const Object& object);
    bool readDictionary(const Object& object, int depth, ArchiveValue& result);
    bool readAgain(quint32 place, int depth, ArchiveValue& result);

    std::vector<ArchiveValue> m_kept;
    /// By number of object.
    Places m_places;
    /// Values that may still come.
    qint64 m_left;
    /// Bytes of texts and data that may still come.
    qsizetype m_textLeft;
};

} // namespace Platform
