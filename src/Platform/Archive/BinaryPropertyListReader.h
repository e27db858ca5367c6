#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>
#include <QVarLengthArray>
#include <QtEndian>

#include <bit>
#include <cstring>
#include <optional>

namespace Platform {

/// Looks into the object table of a binary property list without building anything. Every offset and count is checked
/// before use; what is wrong reads as Kind::Invalid.
///
/// The bytes must outlive the reader. All texts and data together never become longer than two such files, however the
/// objects overlap.
class BinaryPropertyListReader final {
public:
    enum class Kind : quint8 {
        Invalid,
        Boolean,
        Integer,
        Unsigned,
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
    /// As PropertyListLimits::values() of the file.
    quint32 mostValues() const { return m_mostValues; }
    Object object(quint32 index) const;
    /// The number of a UID; NoObject for anything else.
    Q_ALWAYS_INLINE quint32 uid(quint32 index) const {
        if (index >= m_objectCount || m_slots[index].offset == NoOffset)
            return NoObject;
        const uchar* position = m_begin + m_slots[index].offset;
        if (*position == 0x80 && m_end - position >= 2)
            return position[1];
        if (*position == 0x81 && m_end - position >= 3)
            return qFromBigEndian<quint16>(position + 1);
        const Object read = object(index);
        return read.kind == Kind::Uid ? static_cast<quint32>(read.integer) : NoObject;
    }
    /// The @p position-th reference of a container, keys of a dictionary first; NoObject when it points outside the
    /// table.
    Q_ALWAYS_INLINE quint32 reference(const Object& container, quint32 position) const {
        const uchar* bytes = container.bytes + size_t{position} * m_referenceSize;
        const quint64 index = m_referenceSize == 1 ? *bytes
            : m_referenceSize == 2                 ? qFromBigEndian<quint16>(bytes)
                                                   : bigEndian(bytes, m_referenceSize);
        return index < m_objectCount ? static_cast<quint32>(index) : NoObject;
    }
    /// The text of a string; null for another object, or when all texts together are too long. Kept from the second
    /// time on, since most are read once.
    QString string(quint32 index) {
        if (index >= m_objectCount)
            return {};
        const quint32 kept = m_slots[index].kept;
        return kept < FirstData ? m_texts[kept] : string(index, object(index));
    }
    /// As above for an object that has been looked at.
    QString string(quint32 index, const Object& object);
    /// The bytes of data, likewise.
    std::optional<QByteArray> data(quint32 index, const Object& object);
    /// True when the object is a plain string of exactly these characters.
    bool isText(quint32 index, QByteArrayView ascii) const {
        return ascii.size() < CountFollows ? index < m_objectCount && isTextAt(m_begin + m_slots[index].offset, ascii)
                                           : isLongText(object(index), ascii);
    }
    /// Which of the first @p pairs keys of a dictionary is the text @p ascii, shorter than 15; @p pairs when none is.
    quint32 findKey(const Object& dictionary, QByteArrayView ascii, quint32 pairs) const;

private:
    /// Of an object that is not in the file.
    static constexpr quint32 NoOffset = 0;
    /// Files of this many objects and texts, which is most of them, are read without room of their own.
    static constexpr qsizetype FewObjects = 64;
    static constexpr qsizetype FewTexts = 8;
    static constexpr quint32 FirstData = 0x80000000;
    static constexpr quint32 NotRead = 0xffffffff;
    static constexpr quint32 ReadOnce = 0xfffffffe;

    struct Slot {
        quint32 offset;
        /// Where in m_texts, or in m_data from FirstData on; NotRead or ReadOnce before.
        quint32 kept;
    };

    /// The low half of a marker whose count stands behind it.
    static constexpr quint8 CountFollows = 15;

    static bool isLongText(const Object& text, QByteArrayView ascii);
    /// The beginning of the file, where an object stands that is not in it, is no text.
    bool isTextAt(const uchar* position, QByteArrayView ascii) const {
        return *position == (0x50 | ascii.size()) && m_end - position > ascii.size() &&
            std::memcmp(position + 1, ascii.data(), static_cast<size_t>(ascii.size())) == 0;
    }
    static quint64 bigEndian(const uchar* bytes, unsigned size);
    static Object integerObject(const uchar* bytes, unsigned size);
    void readOffsets(unsigned size);
    Object withCount(Kind kind, quint8 low, const uchar* position, quint32 unitSize) const;
    Object withLongCount(Kind kind, const uchar* position, quint32 unitSize) const;
    QString newString(const Object& object);
    bool take(qsizetype length);

    const uchar* m_begin = nullptr;
    /// Of the objects; the offset table follows.
    const uchar* m_end = nullptr;
    quint32 m_objectCount = 0;
    quint32 m_topObject = 0;
    quint32 m_mostValues = 0;
    quint8 m_referenceSize = 0;
    qsizetype m_left = 0;
    QVarLengthArray<Slot, FewObjects> m_slots;
    QVarLengthArray<QString, FewTexts> m_texts;
    QList<QByteArray> m_data;
};

} // namespace Platform
