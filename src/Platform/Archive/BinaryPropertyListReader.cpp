#include "BinaryPropertyListReader.h"

#include "PropertyListLimits.h"

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr char Magic[] = {'b', 'p', 'l', 'i', 's', 't', '0', '0'};
constexpr qsizetype TrailerSize = 32;

using Object = BinaryPropertyListReader::Object;
using Kind = BinaryPropertyListReader::Kind;

} // namespace

quint64 BinaryPropertyListReader::bigEndian(const uchar* bytes, unsigned size) {
    switch (size) {
    case 1:
        return *bytes;
    case 2:
        return qFromBigEndian<quint16>(bytes);
    case 4:
        return qFromBigEndian<quint32>(bytes);
    case 8:
        return qFromBigEndian<quint64>(bytes);
    default:
        quint64 value = 0;
        for (unsigned i = 0; i < size; ++i)
            value = value << 8 | bytes[i];
        return value;
    }
}

Object BinaryPropertyListReader::integerObject(const uchar* bytes, unsigned size) {
    Object object{Kind::Integer};
    if (size < 8) {
        object.integer = static_cast<qint64>(bigEndian(bytes, size));
    } else if (size == 8) {
        object.integer = qFromBigEndian<qint64>(bytes);
    } else {
        // The upper half only tells the sign: nothing that was 64 bits wide has more in it.
        const auto high = qFromBigEndian<qint64>(bytes);
        object.integer = qFromBigEndian<qint64>(bytes + 8);
        if (high == 0)
            object.kind = Kind::Unsigned;
        else if (high != -1 || object.integer >= 0)
            object.kind = Kind::Invalid;
    }
    return object;
}

bool BinaryPropertyListReader::open(QByteArrayView bytes) {
    if (bytes.size() < qsizetype(sizeof Magic) + TrailerSize || bytes.size() > PropertyListLimits::FileSize ||
        std::memcmp(bytes.data(), Magic, sizeof Magic) != 0)
        return false;
    const auto* first = reinterpret_cast<const uchar*>(bytes.data());
    const uchar* trailer = first + bytes.size() - TrailerSize;
    const unsigned offsetSize = trailer[6];
    m_referenceSize = trailer[7];
    const auto count = qFromBigEndian<quint64>(trailer + 8);
    const auto top = qFromBigEndian<quint64>(trailer + 16);
    const auto table = qFromBigEndian<quint64>(trailer + 24);
    if (offsetSize < 1 || offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8 || count < 1 ||
        count > PropertyListLimits::Objects || top >= count)
        return false;
    const auto tableEnd = static_cast<quint64>(bytes.size() - TrailerSize);
    if (table <= sizeof Magic || table > tableEnd || count * offsetSize > tableEnd - table)
        return false;
    m_begin = first;
    m_end = first + table;
    m_objectCount = static_cast<quint32>(count);
    m_topObject = static_cast<quint32>(top);
    m_mostValues = PropertyListLimits::values(bytes.size());
    m_left = 2 * bytes.size();
    m_slots.resize(m_objectCount);
    readOffsets(offsetSize);
    return true;
}

void BinaryPropertyListReader::readOffsets(unsigned size) {
    const auto length = static_cast<quint64>(m_end - m_begin);
    const auto readAll = [&](auto readOne) {
        const uchar* place = m_end;
        for (Slot& slot : m_slots) {
            const quint64 offset = readOne(place);
            slot = {offset >= sizeof Magic && offset < length ? static_cast<quint32>(offset) : NoOffset, NotRead};
            place += size;
        }
    };
    if (size == 1)
        readAll([](const uchar* place) { return quint64{*place}; });
    else if (size == 2)
        readAll([](const uchar* place) { return quint64{qFromBigEndian<quint16>(place)}; });
    else
        readAll([size](const uchar* place) { return bigEndian(place, size); });
}

Object BinaryPropertyListReader::withLongCount(Kind kind, const uchar* position, quint32 unitSize) const {
    if (position >= m_end || (*position & 0xfc) != 0x10)
        return {};
    const unsigned size = 1u << (*position & 3);
    if (++position > m_end || m_end - position < qsizetype(size))
        return {};
    const quint64 count = bigEndian(position, size);
    position += size;
    if (count > PropertyListLimits::FileSize || static_cast<qint64>(count * unitSize) > m_end - position)
        return {};
    return {kind, static_cast<quint32>(count), position};
}

inline Object BinaryPropertyListReader::withCount(
    Kind kind, quint8 low, const uchar* position, quint32 unitSize) const {
    if (low == CountFollows)
        return withLongCount(kind, position, unitSize);
    return static_cast<qint64>(low * unitSize) <= m_end - position ? Object{kind, low, position} : Object{};
}

Object BinaryPropertyListReader::object(quint32 index) const {
    if (index >= m_objectCount || m_slots[index].offset == NoOffset)
        return {};
    const uchar* position = m_begin + m_slots[index].offset;
    const quint8 high = *position >> 4;
    const quint8 low = *position & 15;
    ++position;
    const qsizetype left = m_end - position;
    switch (high) {
    case 0x0:
        return low == 8 || low == 9 ? Object{Kind::Boolean, 0, nullptr, low == 9} : Object{};
    case 0x1:
        return low <= 4 && left >= (1 << low) ? integerObject(position, 1u << low) : Object{};
    case 0x2:
        if (low == 2 && left >= 4)
            return {Kind::Real, 0, nullptr,
                std::bit_cast<qint64>(double{std::bit_cast<float>(qFromBigEndian<quint32>(position))})};
        [[fallthrough]];
    case 0x3:
        if (low != 3 || left < 8)
            return {};
        return {high == 2 ? Kind::Real : Kind::Date, 0, nullptr, qFromBigEndian<qint64>(position)};
    case 0x4:
        return withCount(Kind::Data, low, position, 1);
    case 0x5:
        return withCount(Kind::String, low, position, 1);
    case 0x6:
        return withCount(Kind::WideString, low, position, 2);
    case 0x8: {
        if (low >= 8 || left < low + 1)
            return {};
        const quint64 number = bigEndian(position, low + 1u);
        return number <= 0xffffffff ? Object{Kind::Uid, 0, nullptr, static_cast<qint64>(number)} : Object{};
    }
    case 0xa:
        return withCount(Kind::Array, low, position, m_referenceSize);
    case 0xd:
        return withCount(Kind::Dictionary, low, position, m_referenceSize * 2u);
    default:
        return {};
    }
}

bool BinaryPropertyListReader::take(qsizetype length) {
    if (length > m_left)
        return false;
    m_left -= length;
    return true;
}

QString BinaryPropertyListReader::newString(const Object& object) {
    QString text;
    if (object.kind == Kind::String && take(object.count)) {
        text = QString::fromLatin1(reinterpret_cast<const char*>(object.bytes), object.count);
    } else if (object.kind == Kind::WideString && take(qsizetype{object.count} * 2)) {
        text = QString(qsizetype{object.count}, Qt::Uninitialized);
        qFromBigEndian<quint16>(object.bytes, object.count, text.data());
    } else {
        return text;
    }
    if (text.isNull())
        text = ""_L1;
    return text;
}

QString BinaryPropertyListReader::string(quint32 index, const Object& object) {
    if (object.kind != Kind::String && object.kind != Kind::WideString)
        return {};
    quint32& kept = m_slots[index].kept;
    if (kept < ReadOnce)
        return m_texts[kept];
    QString text = newString(object);
    if (kept == NotRead) {
        kept = ReadOnce;
    } else if (!text.isNull()) {
        kept = static_cast<quint32>(m_texts.size());
        m_texts.push_back(text);
    }
    return text;
}

std::optional<QByteArray> BinaryPropertyListReader::data(quint32 index, const Object& object) {
    if (object.kind != Kind::Data)
        return std::nullopt;
    quint32& kept = m_slots[index].kept;
    if (kept < ReadOnce)
        return m_data[kept - FirstData];
    if (!take(object.count))
        return std::nullopt;
    QByteArray bytes(reinterpret_cast<const char*>(object.bytes), object.count);
    if (kept == NotRead) {
        kept = ReadOnce;
    } else {
        kept = FirstData + static_cast<quint32>(m_data.size());
        m_data.push_back(bytes);
    }
    return bytes;
}

bool BinaryPropertyListReader::isLongText(const Object& text, QByteArrayView ascii) {
    return text.kind == Kind::String && text.count == ascii.size() &&
        std::memcmp(text.bytes, ascii.data(), text.count) == 0;
}

quint32 BinaryPropertyListReader::findKey(const Object& dictionary, QByteArrayView ascii, quint32 pairs) const {
    for (quint32 i = 0; i < pairs; ++i) {
        const quint32 index = reference(dictionary, i);
        if (index != NoObject && isTextAt(m_begin + m_slots[index].offset, ascii))
            return i;
    }
    return pairs;
}

} // namespace Platform
