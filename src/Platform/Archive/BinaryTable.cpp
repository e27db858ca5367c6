#include "BinaryTable.h"

#include "PropertyListLimits.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace Platform {

using namespace BinaryFormat;

namespace {

/// The upper bits of an identity; what makes a value one with others stands below. No identity is 0.
enum Kind : quint64 { SevenBit = 1, SixBit = 2, FiveBit = 3, WholeNumber = 4, SingleValue = 5, Key = 6, Instance = 9 };
constexpr int KindShift = 60;
constexpr quint64 BodyMask = (quint64{1} << KindShift) - 1;
constexpr quint64 None = 0;

constexpr qsizetype SevenBitLimit = 7;
constexpr qsizetype SixBitLimit = 9;
constexpr qsizetype FiveBitLimit = 11;
constexpr quint8 NoDigit = 64;
constexpr quint8 FiveBitDigits = 32;
constexpr char Alphabet[] = "eilotrm.apdnsIc ufkMShjTRxgC4013bDNvwyUL2O856P-B79AFKEWV_zGJ/HYX";
static_assert(sizeof Alphabet == NoDigit + 1);

constexpr std::array<quint8, 128> digits() {
    std::array<quint8, 128> result{};
    result.fill(NoDigit);
    for (quint8 i = 0; i < NoDigit; ++i)
        result[static_cast<size_t>(Alphabet[i])] = i;
    return result;
}

constexpr std::array<quint8, 128> Digits = digits();

quint64 tagged(quint64 kind, quint64 body) {
    return kind << KindShift | body;
}

/// Of a string that the platform holds in the pointer itself: up to 7 ASCII characters, or up to 11 of small alphabets;
/// None for any other.
quint64 ofHeldString(QStringView text) {
    if (text.size() > FiveBitLimit)
        return None;
    const bool isSevenBit = text.size() <= SevenBitLimit;
    const bool isSixBit = text.size() <= SixBitLimit;
    const int width = isSevenBit ? 8 : isSixBit ? 6 : 5;
    // The length in front: a shorter text must not look like a longer one that begins with the first digit.
    auto body = static_cast<quint64>(isSevenBit ? text.size() : text.size() & 1);
    for (const QChar unit : text) {
        if (unit.unicode() >= Digits.size())
            return None;
        const quint64 digit = isSevenBit ? unit.unicode() : Digits[unit.unicode()];
        if (!isSevenBit && digit >= (isSixBit ? NoDigit : FiveBitDigits))
            return None;
        body = body << width | digit;
    }
    return tagged(isSevenBit ? SevenBit : isSixBit ? SixBit : FiveBit, body);
}

quint64 ofHeldValue(const ArchiveValue& value) {
    constexpr qint64 HeldLimit = qint64{1} << 55;
    constexpr quint64 NumberMask = (quint64{1} << 56) - 1;
    switch (value.type()) {
    case ArchiveValue::Type::Null:
        return tagged(SingleValue, 0);
    case ArchiveValue::Type::Boolean:
        return tagged(SingleValue, value.boolean() ? 1 : 2);
    case ArchiveValue::Type::Integer:
        return value.integer() >= -HeldLimit && value.integer() < HeldLimit
            ? tagged(WholeNumber, static_cast<quint64>(value.integer()) & NumberMask)
            : None;
    case ArchiveValue::Type::String:
        return value.isMutable() ? None : ofHeldString(value.string());
    default:
        return None;
    }
}

/// The longest head of an object, and what is written behind the end of a number.
constexpr qsizetype HeadSize = 16;

/// Copies units below 0x80 as bytes, four at a time; false when there are others.
bool putNarrow(char* place, QStringView text) {
    const char16_t* units = text.utf16();
    quint64 all = 0;
    qsizetype i = 0;
    for (; i + 4 <= text.size(); i += 4) {
        quint64 four = qFromLittleEndian<quint64>(units + i);
        all |= four;
        four = (four | four >> 8) & 0x0000ffff0000ffff;
        qToLittleEndian(static_cast<quint32>(four | four >> 16), place + i);
    }
    for (; i < text.size(); ++i) {
        all |= units[i];
        place[i] = static_cast<char>(units[i]);
    }
    return (all & 0xff80ff80ff80ff80) == 0;
}

/// Bytes for a number: 1, 2, 4 or 8.
quint32 width(quint64 number) {
    if (number <= 0xff)
        return 1;
    if (number <= 0xffff)
        return 2;
    return number <= 0xffffffff ? 4 : 8;
}

/// The lowest bytes of the number come first; what stands behind them is overwritten.
char* put(char* place, quint64 number, quint32 size) {
    qToBigEndian(number << (64 - 8 * size), place);
    return place + size;
}

/// Negative numbers take all 8 bytes.
char* putInteger(char* place, qint64 number) {
    const quint32 size = number < 0 ? 8 : width(static_cast<quint64>(number));
    *place = static_cast<char>(Integer | std::countr_zero(size));
    return put(place + 1, static_cast<quint64>(number), size);
}

char* putHead(char* place, quint8 marker, qsizetype count) {
    *place = static_cast<char>(marker | std::min<qsizetype>(count, CountFollows));
    return count < CountFollows ? place + 1 : putInteger(place + 1, count);
}

} // namespace

quint32 SharedObjects::findOrInsert(quint64 identity, const QString* text, quint32 number) {
    const auto places = static_cast<size_t>(m_places.size());
    for (size_t i = qHash(identity, m_seed);; ++i) {
        Place& place = m_places[static_cast<qsizetype>(i & (places - 1))];
        if (place.identity == identity && (!text || *place.text == *text))
            return place.number;
        if (place.identity != None)
            continue;
        place = {identity, number, text};
        if (2 * ++m_count > places)
            grow();
        return number;
    }
}

void SharedObjects::grow() {
    const auto old = m_places;
    m_places.clear();
    m_places.resize(4 * old.size());
    m_count = 0;
    for (const Place& place : old) {
        if (place.identity != None)
            findOrInsert(place.identity, place.text, place.number);
    }
}

quint32 SharedObjects::numberOf(const ArchiveValue& value, quint32 number) {
    if (const quint64 held = ofHeldValue(value))
        return findOrInsert(held, nullptr, number);
    return value.instance() ? findOrInsert(tagged(Instance, value.instance()), nullptr, number) : number;
}

quint32 SharedObjects::numberOfKey(const QString& key, quint32 instance, quint32 number) {
    if (const quint64 held = ofHeldString(key))
        return findOrInsert(held, nullptr, number);
    return instance ? findOrInsert(tagged(Instance, instance), nullptr, number)
                    : findOrInsert(tagged(Key, qHash(key, m_seed) & BodyMask), &key, number);
}

BinaryTable::BinaryTable(size_t objects)
    : m_referenceSize(width(objects)), m_file(static_cast<qsizetype>(512 + 16 * objects), Qt::Uninitialized) {
    std::memcpy(m_file.data(), Magic, sizeof Magic);
    m_offsets.reserve(objects);
}

QByteArray BinaryTable::file(size_t objects, const std::function<void(BinaryTable&)>& fill) {
    for (;;) {
        BinaryTable table(objects);
        fill(table);
        objects = table.count();
        if (!table.m_isWhole || width(objects) == table.m_referenceSize)
            return table.finished();
    }
}

inline char* BinaryTable::room(qsizetype size) {
    if (m_file.size() - m_used < size + HeadSize)
        m_file.resize(2 * (m_used + size + HeadSize));
    return m_file.data() + m_used;
}

/// @param size  at most, its head apart
inline char* BinaryTable::beginObject(qsizetype size) {
    m_offsets.push_back(static_cast<quint32>(m_used));
    return room(size);
}

inline quint32 BinaryTable::endObject(const char* end) {
    m_used = end - m_file.constData();
    return count() - 1;
}

quint32 BinaryTable::addKey(const QString& key, quint32 instance) {
    const quint32 shared = m_shared.numberOfKey(key, instance, count());
    return shared == count() ? addNewText(key) : shared;
}

quint32 BinaryTable::add(const ArchiveValue& value) {
    const quint32 shared = m_shared.numberOf(value, count());
    // As the platform does: a boolean that was added before is referred to, and yet a copy goes to the table.
    if (shared == count() || value.isBoolean())
        addNew(value);
    return shared;
}

quint32 BinaryTable::addNew(const ArchiveValue& value) {
    if (value.isString())
        return addNewText(value.string());
    const QByteArray& data = value.data();
    m_isWhole = m_isWhole && data.size() <= PropertyListLimits::FileSize - m_used;
    if (!m_isWhole)
        return 0;
    char* place = beginObject(HeadSize + data.size());
    switch (value.type()) {
    case ArchiveValue::Type::Boolean:
        *place++ = static_cast<char>(value.boolean() ? True : False);
        break;
    case ArchiveValue::Type::Integer:
        place = putInteger(place, value.integer());
        break;
    case ArchiveValue::Type::Unsigned:
        *place = static_cast<char>(Integer | 4);
        place = put(put(place + 1, 0, 8), value.unsignedInteger(), 8);
        break;
    case ArchiveValue::Type::Double:
    case ArchiveValue::Type::Date:
        *place = static_cast<char>((value.isDate() ? Date : Real) | 3);
        place = put(place + 1, std::bit_cast<quint64>(value.number()), 8);
        break;
    case ArchiveValue::Type::Data:
        place = std::copy(data.begin(), data.end(), putHead(place, Data, data.size()));
        break;
    default:
        m_isWhole = false; // null, and objects of classes of their own
    }
    return endObject(place);
}

quint32 BinaryTable::addNewText(const QString& text) {
    m_isWhole = m_isWhole && text.size() <= PropertyListLimits::FileSize - m_used;
    if (!m_isWhole)
        return 0;
    char* place = beginObject(2 * text.size());
    char* units = putHead(place, Text, text.size());
    if (putNarrow(units, text))
        return endObject(units + text.size());
    units = putHead(place, WideText, text.size());
    qToBigEndian<quint16>(text.utf16(), text.size(), units);
    return endObject(units + 2 * text.size());
}

quint32 BinaryTable::addUid(quint32 uid) {
    ++m_values;
    char* place = beginObject(HeadSize);
    *place = static_cast<char>(Uid | (width(uid) - 1));
    return endObject(put(place + 1, uid, width(uid)));
}

BinaryTable::Container BinaryTable::begin(quint8 marker, size_t count, size_t references) {
    m_values += count;
    const auto size = static_cast<qsizetype>(references * m_referenceSize);
    char* place = putHead(beginObject(size), marker, static_cast<qsizetype>(count));
    const qsizetype first = place - m_file.constData();
    return {endObject(place + size), first};
}

void BinaryTable::setReference(Container container, size_t position, quint32 object) {
    char* place = m_file.data() + container.references + position * m_referenceSize;
    if (m_referenceSize == 1)
        *place = static_cast<char>(object);
    else if (m_referenceSize == 2)
        qToBigEndian(static_cast<quint16>(object), place);
    else
        qToBigEndian(object, place);
}

QByteArray BinaryTable::finished() {
    const auto table = static_cast<quint64>(m_used);
    const quint32 offsetSize = width(table);
    const qsizetype size = m_used + qsizetype{count()} * offsetSize + qsizetype{TrailerSize};
    if (!m_isWhole || count() > PropertyListLimits::Objects || size > PropertyListLimits::FileSize ||
        m_values > PropertyListLimits::values(size))
        return {};
    char* place = room(size - m_used);
    for (const quint32 offset : m_offsets)
        place = put(place, offset, offsetSize);
    constexpr qsizetype UnusedAndSortVersion = 6;
    place = std::fill_n(place, UnusedAndSortVersion, '\0');
    place = put(put(place, offsetSize, 1), m_referenceSize, 1);
    put(put(put(place, count(), 8), 0, 8), table, 8);
    m_file.resize(size);
    return std::move(m_file);
}

} // namespace Platform
