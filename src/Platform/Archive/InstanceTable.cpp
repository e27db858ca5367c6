#include "InstanceTable.h"

#include "ArchiveValue.h"
#include "KeyOrder.h"

#include <algorithm>
#include <array>

namespace Platform {

namespace {

enum Kind : quint64 { SevenBit = 1, SixBit = 2, FiveBit = 3, WholeNumber = 4, SingleValue = 5, Instance = 9 };
constexpr int KindShift = 60;
constexpr quint64 BodyMask = (quint64{1} << KindShift) - 1;

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

quint64 ofSevenBitString(QStringView text) {
    quint64 body = static_cast<quint64>(text.size());
    for (const QChar unit : text) {
        if (unit.unicode() >= 0x80)
            return 0;
        body = body << 8 | unit.unicode();
    }
    return tagged(SevenBit, body);
}

} // namespace

quint64 Identity::ofHeldString(QStringView text) {
    if (text.size() > FiveBitLimit)
        return 0;
    if (text.size() <= SevenBitLimit)
        return ofSevenBitString(text);
    const bool isSixBit = text.size() <= SixBitLimit;
    const quint8 limit = isSixBit ? NoDigit : FiveBitDigits;
    const int width = isSixBit ? 6 : 5;
    // The length in front: a shorter text must not look like a longer one that begins with the first digit.
    quint64 body = static_cast<quint64>(text.size() & 1);
    for (const QChar unit : text) {
        const quint8 digit = unit.unicode() < 0x80 ? Digits[unit.unicode()] : NoDigit;
        if (digit >= limit)
            return 0;
        body = body << width | digit;
    }
    return tagged(isSixBit ? SixBit : FiveBit, body);
}

Identity Identity::ofValue(const ArchiveValue& value) {
    constexpr qint64 HeldLimit = qint64{1} << 55;
    Identity identity;
    if (const quint64 instance = ArchiveLayout::instance(value))
        identity.instance = tagged(Instance, instance);
    switch (value.type()) {
    case ArchiveValue::Type::Null:
        return {0, tagged(SingleValue, 0)};
    case ArchiveValue::Type::Boolean:
        return {0, tagged(SingleValue, value.boolean() ? 1 : 2)};
    case ArchiveValue::Type::Integer:
        if (value.integer() >= -HeldLimit && value.integer() < HeldLimit)
            identity.content = tagged(WholeNumber, static_cast<quint64>(value.integer()) & (BodyMask >> 4));
        break;
    case ArchiveValue::Type::String:
        if (!value.isMutable())
            identity.content = ofHeldString(value.string());
        break;
    default:
        break;
    }
    return identity;
}

Identity Identity::ofText(QStringView text, quint64 keyInstance, Place place) {
    Identity identity;
    if (keyInstance && place != Place::Constant)
        identity.instance = tagged(Instance, keyInstance);
    identity.content = ofHeldString(text);
    if (identity.content == 0)
        identity.content = tagged(static_cast<quint64>(place), KeyOrder::hash(text) & BodyMask);
    return identity;
}

InstanceTable::Place& InstanceTable::find(quint64 key) {
    const size_t mask = m_places.size() - 1;
    size_t place = (key * 0x9e3779b97f4a7c15u) >> 32 & mask;
    while (m_places[place].key != 0 && m_places[place].key != key)
        place = (place + 1) & mask;
    return m_places[place];
}

void InstanceTable::clear() {
    m_count = 0;
    if (m_places.size() > SmallestSize)
        m_places = std::vector<Place>(SmallestSize);
    else
        std::fill(m_places.begin(), m_places.end(), Place());
}

void InstanceTable::insert(Place& place, const Place& value) {
    place = value;
    if (++m_count * 2 > m_places.size())
        grow();
}

void InstanceTable::grow() {
    std::vector<Place> old(m_places.size() * 4);
    old.swap(m_places);
    for (const Place& place : old) {
        if (place.key != 0)
            find(place.key) = place;
    }
}

quint32 InstanceTable::findOrInsert(const Identity& identity, quint32 number) {
    const bool hasInstance = identity.instance != 0;
    if (hasInstance) {
        const Place& known = find(identity.instance);
        if (known.key != 0)
            return known.number;
    }
    if (identity.content != 0) {
        Place& known = find(identity.content);
        if (known.key != 0 && !(hasInstance && known.hasInstance))
            return known.number;
        if (known.key == 0)
            insert(known, {identity.content, number, hasInstance});
    }
    if (hasInstance)
        insert(find(identity.instance), {identity.instance, number, true});
    return None;
}

} // namespace Platform
