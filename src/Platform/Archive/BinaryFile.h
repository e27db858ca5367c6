#pragma once

#include "ArchiveValue.h"

#include <QByteArrayView>
#include <QtEndian>

#include <algorithm>

/// What reader and writer of binary property lists, and of the archives in them, share.
namespace Platform::BinaryFormat {

inline constexpr char Magic[] = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
inline constexpr quint32 TrailerSize = 32;

/// The first byte of an object, or its upper half; the lower one is a size or count.
enum Marker : quint8 {
    Invalid = 0x00, ///< no object at all
    False = 0x08,
    True = 0x09,
    Integer = 0x10,
    Real = 0x20,
    Date = 0x30,
    Data = 0x40,
    Text = 0x50,
    WideText = 0x60,
    Uid = 0x80,
    Array = 0xa0,
    Dictionary = 0xd0,
};
/// The lower half of a marker whose count stands behind it as an integer.
inline constexpr quint8 CountFollows = 15;

/// The key of the dictionary that a reference of a keyed archive is outside of a binary file.
inline const QString UidKey = QStringLiteral("CF$UID");

} // namespace Platform::BinaryFormat

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
    bool haveSameReferences(const Object& left, const Object& right) const {
        return std::equal(left.place, left.place + size_t{left.count} * m_referenceSize, right.place,
            right.place + size_t{right.count} * m_referenceSize);
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

} // namespace Platform
