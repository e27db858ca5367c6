#pragma once

#include <QByteArray>
#include <QString>
#include <QtEndian>

#include <bit>
#include <vector>

namespace Platform {

/// Looks into the object table of a binary property list without building anything. Every offset and count is checked
/// before use; what is wrong reads as Kind::Invalid.
///
/// The bytes must outlive the reader. All texts and data together never become longer than the file, however its
/// objects overlap.
class BinaryPropertyListReader final {
public:
    enum class Kind : quint8 {
        Invalid,
        Boolean,
        Integer,
        Unsigned,
        SingleReal,
        Real,
        Date,
        Data,
        String,
        WideString,
        Uid,
        Array,
        Dictionary,
    };
    struct Object {
        Kind kind = Kind::Invalid;
        /// Bytes of data, units of a string, elements of an array, pairs of a dictionary.
        quint32 count = 0;
        const uchar* bytes = nullptr;
        /// Integers, booleans and UIDs; a UID is below 2^32. The bits of a real.
        qint64 integer = 0;

        double real() const { return std::bit_cast<double>(integer); }
    };
    static constexpr quint32 NoObject = 0xffffffff;

    /// False when header, trailer or sizes are wrong.
    bool open(QByteArrayView bytes);

    quint32 objectCount() const { return m_objectCount; }
    quint32 topObject() const { return m_topObject; }
    Object object(quint32 index) const;
    /// The number of a UID; NoObject for anything else.
    quint32 uid(quint32 index) const {
        if (index >= m_objectCount || m_offsets[index] == 0)
            return NoObject;
        const uchar* position = m_begin + m_offsets[index];
        if (*position == 0x80 && m_end - position >= 2)
            return position[1];
        if (*position == 0x81 && m_end - position >= 3)
            return qFromBigEndian<quint16>(position + 1);
        const Object read = object(index);
        return read.kind == Kind::Uid ? static_cast<quint32>(read.integer) : NoObject;
    }
    /// The @p position-th reference of a container, keys of a dictionary first; NoObject when it points outside the
    /// table.
    quint32 reference(const Object& container, quint32 position) const {
        const uchar* bytes = container.bytes + size_t{position} * m_referenceSize;
        const quint64 index = m_referenceSize == 1   ? *bytes
                              : m_referenceSize == 2 ? qFromBigEndian<quint16>(bytes)
                                                     : bigEndian(bytes, m_referenceSize);
        return index < m_objectCount ? static_cast<quint32>(index) : NoObject;
    }
    /// Texts are kept, so that a string that is referred to again costs nothing. Null for another object, or when all
    /// texts together are too long.
    const QString& string(quint32 index, const Object& object);
    /// False when data are too long together.
    bool data(const Object& object, QByteArray& result);
    /// True when the object is a plain string of exactly these characters.
    bool isText(quint32 index, QByteArrayView ascii) const;

private:
    static quint64 bigEndian(const uchar* bytes, unsigned size);
    static Object integerObject(const uchar* bytes, unsigned size);
    Object withCount(Kind kind, quint8 low, const uchar* position, quint32 unitSize) const;
    bool take(qsizetype length);

    const uchar* m_begin = nullptr;
    const uchar* m_end = nullptr;
    quint32 m_objectCount = 0;
    quint32 m_topObject = 0;
    quint8 m_referenceSize = 0;
    qsizetype m_left = 0;
    std::vector<quint32> m_offsets;
    std::vector<QString> m_strings;
};

} // namespace Platform
