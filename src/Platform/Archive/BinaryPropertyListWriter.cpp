#include "BinaryPropertyListWriter.h"

#include "ArchiveValue.h"
#include "PropertyListLimits.h"

#include <QtEndian>

#include <algorithm>
#include <bit>
#include <cstring>

namespace Platform {

namespace {

constexpr quint32 None = 0xffffffff;
constexpr char Magic[] = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
constexpr quint32 TrailerSize = 32;
constexpr quint32 CountFollows = 15;

/// Bytes for a number: 1, 2, 4 or 8.
quint32 width(quint64 number) {
    if (number <= 0xff)
        return 1;
    if (number <= 0xffff)
        return 2;
    return number <= 0xffffffff ? 4 : 8;
}

/// Negative numbers take all.
quint32 integerWidth(qint64 number) {
    return number < 0 ? 8 : width(static_cast<quint64>(number));
}

quint32 markerOfWidth(quint32 bytes) {
    return static_cast<quint32>(std::countr_zero(bytes));
}

quint32 headSize(quint32 count) {
    return count < CountFollows ? 1 : 2 + width(count);
}

bool isPlain(QStringView text) {
    const char16_t* units = text.utf16();
    const qsizetype count = text.size();
    quint64 all = 0;
    qsizetype done = 0;
    for (; done + 4 <= count; done += 4)
        all |= qFromUnaligned<quint64>(units + done);
    for (; done < count; ++done)
        all |= units[done];
    return (all & 0xff80ff80ff80ff80) == 0;
}

} // namespace

/// Writes into room that was measured before.
class BinaryPropertyListWriter::Sink {
public:
    explicit Sink(char* position) : m_position(position) {}

    const char* position() const { return m_position; }
    void byte(quint32 value) { *m_position++ = static_cast<char>(value); }
    void number(quint64 value, quint32 bytes) {
        value = qToBigEndian(value);
        // Narrow numbers are the rule, and a copy of fixed length is the fastest.
        char all[8];
        std::memcpy(all, &value, 8);
        switch (bytes) {
        case 1:
            *m_position = all[7];
            break;
        case 2:
            std::memcpy(m_position, all + 6, 2);
            break;
        case 4:
            std::memcpy(m_position, all + 4, 4);
            break;
        default:
            std::memcpy(m_position, all, 8);
        }
        m_position += bytes;
    }
    void copy(const char* bytes, size_t count) {
        if (count > 0)
            std::memcpy(m_position, bytes, count);
        m_position += count;
    }
    void head(quint32 marker, quint32 count) {
        if (count < CountFollows) {
            byte(marker | count);
            return;
        }
        byte(marker | CountFollows);
        byte(0x10 | markerOfWidth(width(count)));
        number(count, width(count));
    }
    /// Of units below 0x80 only.
    void narrow(const char16_t* units, quint32 count) {
        quint32 done = 0;
        for (; done + 4 <= count; done += 4) {
            quint64 four = qFromLittleEndian<quint64>(units + done);
            four = (four | four >> 8) & 0x0000ffff0000ffff;
            qToLittleEndian(static_cast<quint32>(four | four >> 16), m_position + done);
        }
        for (; done < count; ++done)
            m_position[done] = static_cast<char>(units[done]);
        m_position += count;
    }
    void wide(const char16_t* units, quint32 count) {
        qToBigEndian<quint16>(units, count, m_position);
        m_position += size_t{count} * 2;
    }

private:
    char* m_position;
};

void BinaryPropertyListWriter::clear(size_t objects) {
    m_size = 0;
    m_objects.clear();
    m_references.clear();
    m_uids.clear();
    m_booleans[0] = m_booleans[1] = None;
    m_objects.reserve(objects);
    m_references.reserve(objects * 2);
}

inline quint32 BinaryPropertyListWriter::add(Kind kind, quint32 count, Body body, quint64 size) {
    m_size += size;
    // Field by field: a copy right behind the writing of parts waits for them.
    Object& object = m_objects.emplace_back();
    object.kind = kind;
    object.count = count;
    object.body = body;
    return objectCount() - 1;
}

quint32 BinaryPropertyListWriter::begin(Kind kind, quint32 count, quint32 references) {
    const size_t start = m_references.size();
    m_references.resize(start + references);
    return add(kind, count, {.start = start}, headSize(count));
}

quint32 BinaryPropertyListWriter::addString(QStringView text) {
    // Longer ones cannot be written anyway, and bytes() finds that out.
    const auto count = static_cast<quint32>(std::min<qsizetype>(text.size(), PropertyListLimits::FileSize));
    return isPlain(text) ? add(Kind::String, count, {.units = text.utf16()}, headSize(count) + quint64{count})
                         : add(Kind::WideString, count, {.units = text.utf16()}, headSize(count) + quint64{count} * 2);
}

quint32 BinaryPropertyListWriter::addInteger(qint64 number) {
    return add(Kind::Integer, 0, {.integer = number}, 1 + integerWidth(number));
}

quint32 BinaryPropertyListWriter::addReal(double number) {
    return add(Kind::Real, 0, {.real = number}, 9);
}

quint32 BinaryPropertyListWriter::addScalar(const ArchiveValue& value) {
    switch (value.type()) {
    case ArchiveValue::Type::Boolean:
        return addBoolean(value.boolean());
    case ArchiveValue::Type::Integer:
        return addInteger(value.integer());
    case ArchiveValue::Type::Unsigned:
        return add(Kind::Unsigned, 0, {.integer = value.integer()}, 17);
    case ArchiveValue::Type::Double:
        return addReal(value.number());
    case ArchiveValue::Type::Date:
        return add(Kind::Date, 0, {.real = value.number()}, 9);
    case ArchiveValue::Type::Data: {
        const auto count = static_cast<quint32>(std::min<qsizetype>(value.data().size(), PropertyListLimits::FileSize));
        return add(Kind::Data, count, {.bytes = value.data().constData()}, headSize(count) + quint64{count});
    }
    default:
        return addString(value.string());
    }
}

quint32 BinaryPropertyListWriter::addBoolean(bool value) {
    const quint32 object = add(value ? Kind::True : Kind::False, 0, {.integer = 0}, 1);
    quint32& first = m_booleans[value ? 1 : 0];
    if (first == None)
        first = object;
    return first;
}

quint32 BinaryPropertyListWriter::addUid(quint32 number) {
    const quint32 object = add(Kind::Uid, 0, {.integer = number}, 1 + width(number));
    if (number >= m_uids.size())
        m_uids.resize(std::max<size_t>(number + 1, m_uids.size() * 2), None);
    if (m_uids[number] == None)
        m_uids[number] = object;
    return m_uids[number];
}

void BinaryPropertyListWriter::write(const Object& object, Sink& sink, quint32 referenceSize) const {
    switch (object.kind) {
    case Kind::False:
        return sink.byte(0x08);
    case Kind::True:
        return sink.byte(0x09);
    case Kind::Integer: {
        const auto number = static_cast<quint64>(object.body.integer);
        const quint32 size = integerWidth(object.body.integer);
        sink.byte(0x10 | markerOfWidth(size));
        return sink.number(number, size);
    }
    case Kind::Unsigned:
        sink.byte(0x14);
        sink.number(0, 8);
        return sink.number(static_cast<quint64>(object.body.integer), 8);
    case Kind::Real:
    case Kind::Date:
        sink.byte(object.kind == Kind::Date ? 0x33 : 0x23);
        return sink.number(std::bit_cast<quint64>(object.body.real), 8);
    case Kind::Data:
        sink.head(0x40, object.count);
        return sink.copy(object.body.bytes, object.count);
    case Kind::String:
        sink.head(0x50, object.count);
        return sink.narrow(object.body.units, object.count);
    case Kind::WideString:
        sink.head(0x60, object.count);
        return sink.wide(object.body.units, object.count);
    case Kind::Uid: {
        const auto number = static_cast<quint64>(object.body.integer);
        sink.byte(0x80 | (width(number) - 1));
        return sink.number(number, width(number));
    }
    case Kind::Array:
    case Kind::Dictionary:
        const bool isArray = object.kind == Kind::Array;
        sink.head(isArray ? 0xa0 : 0xd0, object.count);
        const quint32* reference = m_references.data() + object.body.start;
        for (const quint32* end = reference + object.count * (isArray ? 1 : 2); reference != end; ++reference)
            sink.number(*reference, referenceSize);
    }
}

QByteArray BinaryPropertyListWriter::bytes() const {
    if (m_objects.empty() || m_objects.size() > PropertyListLimits::Objects)
        return {};
    // By the number of objects, not by the highest reference: 256 objects already take two bytes.
    const quint32 referenceSize = width(m_objects.size());
    const quint64 offset = sizeof Magic + m_size + m_references.size() * referenceSize;
    const quint32 offsetSize = width(offset);
    const quint64 size = offset + m_objects.size() * offsetSize + TrailerSize;
    if (size > PropertyListLimits::FileSize)
        return {};
    QByteArray file(static_cast<qsizetype>(size), Qt::Uninitialized);
    Sink sink(file.data());
    Sink table(file.data() + offset);
    sink.copy(Magic, sizeof Magic);
    for (const Object& object : m_objects) {
        table.number(static_cast<quint64>(sink.position() - file.constData()), offsetSize);
        write(object, sink, referenceSize);
    }
    sink = table;
    constexpr quint32 UnusedAndSortVersion = 6;
    for (quint32 i = 0; i < UnusedAndSortVersion; ++i)
        sink.byte(0);
    sink.byte(offsetSize);
    sink.byte(referenceSize);
    sink.number(m_objects.size(), 8);
    sink.number(0, 8);
    sink.number(offset, 8);
    return file;
}

} // namespace Platform
