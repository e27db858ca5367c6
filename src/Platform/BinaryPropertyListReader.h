#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace Platform {

/// Looks into the object table of a binary property list without building anything. Every offset and count is checked before use;
/// what is wrong reads as Kind::Invalid.
///
/// The bytes must outlive the reader. All texts and data together never become longer than the file, however its objects overlap.
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
        /// Integers, booleans and UIDs; a UID is below 2^32.
        qint64 integer = 0;
        double real = 0;
    };
    static constexpr quint32 NoObject = 0xffffffff;

    /// False when header, trailer or sizes are wrong.
    bool open(QByteArrayView bytes);

    quint32 objectCount() const { return m_objectCount; }
    quint32 topObject() const { return m_topObject; }
    Object object(quint32 index) const;
    /// The @p position-th reference of a container, keys of a dictionary first; NoObject when it points outside the table.
    quint32 reference(const Object& container, quint32 position) const;
    /// Texts are kept, so that a string that is referred to again costs nothing. Null when they are too long together.
    QString string(quint32 index, const Object& object);
    /// False when data are too long together.
    bool data(const Object& object, QByteArray& result);
    /// True for a plain string of exactly these characters.
    static bool isText(const Object& object, QByteArrayView ascii);

private:
    Object withCount(Kind kind, quint8 low, const uchar* position, quint32 unitSize) const;
    bool take(qsizetype length);

    const uchar* m_begin = nullptr;
    const uchar* m_end = nullptr;
    const uchar* m_table = nullptr;
    quint32 m_objectCount = 0;
    quint32 m_topObject = 0;
    quint8 m_offsetSize = 0;
    quint8 m_referenceSize = 0;
    qsizetype m_left = 0;
    std::vector<QString> m_strings;
};

} // namespace Platform
