#include "BinaryReader.h"

#include "PropertyList.h"

#include <algorithm>
#include <bit>
#include <cstring>

using namespace Qt::StringLiterals;

namespace Platform {

using namespace BinaryFormat;

BinaryFile::BinaryFile(QByteArrayView bytes) {
    if (bytes.size() < qsizetype{sizeof Magic + TrailerSize} || bytes.size() > PropertyListLimits::FileSize ||
        std::memcmp(bytes.data(), Magic, sizeof Magic) != 0)
        return;
    m_begin = reinterpret_cast<const uchar*>(bytes.data());
    const auto tableEnd = static_cast<quint64>(bytes.size()) - TrailerSize;
    const uchar* trailer = m_begin + tableEnd;
    m_offsetSize = trailer[6];
    m_referenceSize = trailer[7];
    const auto count = qFromBigEndian<quint64>(trailer + 8);
    const auto top = qFromBigEndian<quint64>(trailer + 16);
    const auto table = qFromBigEndian<quint64>(trailer + 24);
    if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8 ||
        count > PropertyListLimits::Objects || top >= count || table < sizeof Magic || table > tableEnd ||
        count * m_offsetSize > tableEnd - table)
        return;
    m_offsetShift = 64 - 8 * m_offsetSize;
    m_referenceShift = 64 - 8 * m_referenceSize;
    m_end = m_begin + table;
    m_objectBytes = table - sizeof Magic;
    m_objectCount = static_cast<quint32>(count);
    m_topObject = static_cast<quint32>(top);
    m_unitSizes[Data >> 4] = m_unitSizes[Text >> 4] = 1;
    m_unitSizes[WideText >> 4] = 2;
    m_unitSizes[Array >> 4] = static_cast<quint8>(m_referenceSize);
    m_unitSizes[Dictionary >> 4] = static_cast<quint8>(2 * m_referenceSize);
}

BinaryFile::Object BinaryFile::otherObject(const uchar* place) const {
    const quint32 low = *place & 0x0f;
    const auto marker = static_cast<Marker>(*place & 0xf0);
    const quint32 unitSize = m_unitSizes[marker >> 4];
    const qsizetype left = m_end - ++place;
    if (marker == 0)
        return low == False || low == True ? Object{static_cast<Marker>(low), 0, place} : Object{};
    if (marker == Uid)
        return low < 8 && left > low ? Object{marker, low + 1, place} : Object{};
    if (unitSize == 0) {
        const bool isNumber = (marker == Integer || marker == Real || marker == Date) && low <= 4;
        return isNumber && left >= (1 << low) ? Object{marker, 1u << low, place} : Object{};
    }
    if (low != CountFollows || left < 2 || (*place & 0xfc) != Integer)
        return {};
    const quint32 size = 1u << (*place & 3);
    if (left - 1 < qsizetype{size})
        return {};
    const quint64 count = unsignedNumber(++place, size);
    place += size;
    return count <= PropertyListLimits::FileSize && static_cast<qint64>(count * unitSize) <= m_end - place
        ? Object{marker, static_cast<quint32>(count), place}
        : Object{};
}

quint32 BinaryFile::find(const Object& dictionary, const QString& key) const {
    for (quint32 i = dictionary.marker == Dictionary ? dictionary.count : 0; i-- > 0;) {
        if (isText(reference(dictionary, i), key))
            return reference(dictionary, dictionary.count + i);
    }
    return NoObject;
}

bool BinaryFile::isText(quint32 number, const QString& text) const {
    const uchar* place = placeOf(number);
    if (!place || ((*place & 0x0f) != text.size() && (*place & 0x0f) != CountFollows))
        return false; // most differ in their lengths
    const auto hasUnits = [&](const uchar* units) {
        return std::equal(text.begin(), text.end(), units, [](QChar unit, uchar byte) { return unit == QChar(byte); });
    };
    if (*place == (Text | text.size()) && text.size() < CountFollows && m_end - place > text.size())
        return hasUnits(place + 1);
    const Object object = this->object(number);
    return (object.marker == Text && object.count == text.size() && hasUnits(object.place)) ||
        (object.marker == WideText && BinaryFile::text(object) == text);
}

QString BinaryFile::text(const Object& object) {
    if (object.count == 0)
        return ""_L1;
    if (object.marker == Text)
        return QLatin1StringView(reinterpret_cast<const char*>(object.place), object.count);
    QString text(qsizetype{object.count}, Qt::Uninitialized);
    qFromBigEndian<quint16>(object.place, text.size(), text.data());
    return text;
}

ArchiveValue BinaryFile::number(const Object& object) {
    if (object.marker == False || object.marker == True)
        return object.marker == True;
    if (object.marker == Integer && object.count < 16)
        return static_cast<qint64>(unsignedNumber(object.place, object.count));
    if (object.marker == Integer) {
        // Of 16 bytes the upper half only tells the sign: nothing that was 64 bits wide has more in it.
        const auto high = qFromBigEndian<qint64>(object.place);
        const auto value = qFromBigEndian<qint64>(object.place + 8);
        if (high == 0)
            return ArchiveValue::unsignedInteger(static_cast<quint64>(value));
        return high == -1 && value < 0 ? ArchiveValue(value) : ArchiveValue();
    }
    if (object.marker == Real && object.count == 4)
        return double{std::bit_cast<float>(qFromBigEndian<quint32>(object.place))};
    if ((object.marker != Real && object.marker != Date) || object.count != 8)
        return {};
    const auto real = std::bit_cast<double>(qFromBigEndian<quint64>(object.place));
    return object.marker == Date ? ArchiveValue::date(real) : ArchiveValue(real);
}

BinaryReader::BinaryReader(QByteArrayView bytes)
    : m_file(bytes), m_places(m_file.objectCount(), 0), m_left(PropertyListLimits::values(bytes.size()) - 1),
      m_textLeft(2 * bytes.size()) {}

std::optional<ArchiveValue> BinaryReader::readRoot() {
    ArchiveValue root;
    return read(m_file.topObject(), 0, root) ? std::optional(std::move(root)) : std::nullopt;
}

bool BinaryReader::read(quint32 number, int depth, ArchiveValue& result) {
    const Object object = m_file.object(number);
    switch (object.marker) {
    case Uid:
        return readUid(m_file.uid(number), depth, result);
    case Array:
        return readKept(m_places[number], depth, result, [&] {
            return readArray(object.count, depth, result,
                [&](quint32 i, ArchiveValue& item) { return read(m_file.reference(object, i), depth + 1, item); });
        });
    case Dictionary:
        return readKept(m_places[number], depth, result, [&] { return readDictionary(object, depth, result); });
    default:
        return readScalar(number, object, result);
    }
}

bool BinaryReader::readDictionary(const Object& object, int depth, ArchiveValue& result) {
    bool isRead = enter(object.count, depth);
    ArchiveValue::Dictionary entries(isRead ? object.count : 0);
    for (quint32 i = 0; i < object.count && isRead; ++i) {
        entries[i].key = readText(m_file.reference(object, i));
        isRead =
            !entries[i].key.isNull() && read(m_file.reference(object, object.count + i), depth + 1, entries[i].value);
    }
    std::construct_at(&result, std::move(entries));
    return isRead;
}

bool BinaryReader::readUid(quint64 uid, int, ArchiveValue& result) {
    result = ArchiveValue::Dictionary{{UidKey, uid}};
    return std::in_range<quint32>(uid);
}

bool BinaryReader::readAgain(quint32 place, int depth, ArchiveValue& result) {
    size_t values = 0;
    if (place == BeingRead || !PropertyListLimits::count(m_kept[place - FirstKept], depth, values))
        return false; // nothing stands within itself
    m_left -= static_cast<qint64>(values);
    result = m_kept[place - FirstKept];
    return m_left >= 0;
}

bool BinaryReader::readScalar(quint32 number, const Object& object, ArchiveValue& result) {
    if (object.marker == Text || object.marker == WideText) {
        std::construct_at(&result, textOf(number, object));
    } else if (object.marker != Data) {
        std::construct_at(&result, BinaryFile::number(object));
    } else if (m_places[number] >= FirstKept) {
        result = m_kept[m_places[number] - FirstKept];
    } else if ((m_textLeft -= object.count) >= 0) {
        std::construct_at(&result, QByteArray(reinterpret_cast<const char*>(object.place), object.count));
        m_places[number] = m_places[number] == 0 ? Met : keep(result);
    }
    return !result.isNothing();
}

QString BinaryReader::textOf(quint32 number, const Object& object) {
    quint32& place = m_places[number];
    if (place >= FirstKept)
        return m_kept[place - FirstKept].string();
    if ((m_textLeft -= (object.marker == WideText ? 2 : 1) * qsizetype{object.count}) < 0)
        return {};
    QString text = BinaryFile::text(object);
    place = place == 0 ? Met : keep(text);
    return text;
}

QString BinaryReader::readText(quint32 number) {
    // Most keys have been met before, and need not be looked at.
    if (number < m_file.objectCount() && m_places[number] >= FirstKept)
        return m_kept[m_places[number] - FirstKept].string();
    const Object object = m_file.object(number);
    return object.marker == Text || object.marker == WideText ? textOf(number, object) : QString();
}

std::optional<ArchiveValue> PropertyList::decoded(const QByteArray& bytes) {
    return bytes.startsWith("bplist") ? decodedBinary(bytes) : decodedXml(bytes);
}

std::optional<ArchiveValue> PropertyList::decodedBinary(const QByteArray& bytes) {
    return BinaryReader(bytes).readRoot();
}

} // namespace Platform
