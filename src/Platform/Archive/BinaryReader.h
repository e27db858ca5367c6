#pragma once

#include "BinaryFormat.h"
#include "PropertyListLimits.h"

#include <QByteArrayView>
#include <QVarLengthArray>
#include <QtEndian>

#include <algorithm>

namespace Platform {

/// Looks into the object table of a binary property list without building anything. Every offset and count is checked
/// before use. The bytes must outlive it.
class BinaryFile final {
public:
    /// An object as it stands in the file.
    struct Object {
        BinaryFormat::Marker marker = BinaryFormat::Invalid;
        /// Bytes of data, narrow text, a number or UID; units of wide text; elements; pairs.
        quint32 count = 0;
        const uchar* place = nullptr;
    };
    /// The number of no object, not even of one outside of the table.
    static constexpr quint32 NoObject = 0xffffffff;

    /// Empty when header, trailer or sizes are wrong.
    explicit BinaryFile(QByteArrayView bytes);

    quint32 objectCount() const { return m_objectCount; }
    quint32 topObject() const { return m_topObject; }
    Object object(quint32 number) const {
        const uchar* place = placeOf(number);
        if (!place)
            return {};
        const quint32 count = *place & 0x0f;
        const quint32 unitSize = m_unitSizes[*place >> 4];
        // Most are short texts and containers.
        return unitSize > 0 && count < BinaryFormat::CountFollows && m_end - place > qsizetype{count * unitSize}
            ? Object{static_cast<BinaryFormat::Marker>(*place & 0xf0), count, place + 1}
            : otherObject(place);
    }
    /// Reference @p position of a container, keys of a dictionary first.
    quint32 reference(const Object& container, quint32 position) const {
        const quint64 number =
            qFromBigEndian<quint64>(container.place + size_t{position} * m_referenceSize) >> m_referenceShift;
        return static_cast<quint32>(std::min<quint64>(number, NoObject - 1));
    }
    /// The value of the last key of this text; NoObject without one, and for what is no dictionary.
    quint32 find(const Object& dictionary, const QString& key) const;
    /// The number of a UID; more than 32 bits hold for any other object.
    quint64 uid(quint32 number) const {
        const uchar* place = placeOf(number);
        return place && (*place & 0xf8) == BinaryFormat::Uid && m_end - place > (*place & 7) + 1
            ? unsignedNumber(place + 1, (*place & 7) + 1u)
            : ~quint64{0};
    }
    bool isText(quint32 number, const QString& text) const;
    /// Of a narrow or wide text; never null.
    static QString text(const Object& object);
    /// A boolean, number or date; Nothing for any other object.
    static ArchiveValue number(const Object& object);

private:
    /// Of up to 8 bytes. Some behind them are looked at, too: at least the trailer stands there.
    static quint64 unsignedNumber(const uchar* place, quint32 size) {
        return qFromBigEndian<quint64>(place) >> (64 - 8 * size);
    }
    /// Null outside of the table, and for an object outside of the file.
    const uchar* placeOf(quint32 number) const {
        if (number >= m_objectCount)
            return nullptr;
        const uchar* entry = m_end + size_t{number} * m_offsetSize;
        const quint64 offset = qFromBigEndian<quint64>(entry) >> m_offsetShift;
        return offset - sizeof BinaryFormat::Magic < m_objectBytes ? m_begin + offset : nullptr;
    }
    Object otherObject(const uchar* place) const;

    const uchar* m_begin = nullptr;
    /// Of the objects; the offset table follows.
    const uchar* m_end = nullptr;
    quint32 m_objectCount = 0;
    quint32 m_topObject = 0;
    /// Of all objects.
    quint64 m_objectBytes = 0;
    quint32 m_offsetSize = 0;
    quint32 m_referenceSize = 0;
    /// What lies behind such a number in 8 bytes, in bits.
    quint32 m_offsetShift = 0;
    quint32 m_referenceShift = 0;
    /// Of an element of what has a count, by the upper half of its marker.
    quint8 m_unitSizes[16] = {};
};

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
