#include "Identity.h"

#include "ArchiveValue.h"
#include "KeyOrder.h"

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
        return None;
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
            return None;
        body = body << width | digit;
    }
    return tagged(isSixBit ? SixBit : FiveBit, body);
}

quint64 Identity::ofValue(const ArchiveValue& value) {
    constexpr qint64 HeldLimit = qint64{1} << 55;
    quint64 held = None;
    switch (value.type()) {
    case ArchiveValue::Type::Null:
        return tagged(SingleValue, 0);
    case ArchiveValue::Type::Boolean:
        return tagged(SingleValue, value.boolean() ? 1 : 2);
    case ArchiveValue::Type::Integer:
        if (value.integer() >= -HeldLimit && value.integer() < HeldLimit)
            held = tagged(WholeNumber, static_cast<quint64>(value.integer()) & (BodyMask >> 4));
        break;
    case ArchiveValue::Type::String:
        if (!value.isMutable())
            held = ofHeldString(value.string());
        break;
    default:
        break;
    }
    return held == None && value.instance() ? tagged(Instance, value.instance()) : held;
}

quint64 Identity::ofText(QStringView text, quint32 keyInstance, Place place) {
    if (const quint64 held = ofHeldString(text))
        return held;
    return keyInstance ? tagged(Instance, keyInstance)
                       : tagged(static_cast<quint64>(place), KeyOrder::hash(text) & BodyMask);
}

void InstanceTable::clear() {
    constexpr size_t SmallestSize = 64;
    m_count = 0;
    m_places.assign(SmallestSize, Place());
}

InstanceTable::Place& InstanceTable::find(quint64 identity) {
    const size_t mask = m_places.size() - 1;
    size_t place = (identity * 0x9e3779b97f4a7c15u) >> 32 & mask;
    while (m_places[place].identity != Identity::None && m_places[place].identity != identity)
        place = (place + 1) & mask;
    return m_places[place];
}

void InstanceTable::grow() {
    std::vector<Place> old(m_places.size() * 4);
    old.swap(m_places);
    for (const Place& place : old) {
        if (place.identity != Identity::None)
            find(place.identity) = place;
    }
}

quint32 InstanceTable::findOrInsert(quint64 identity, quint32 number) {
    Place& place = find(identity);
    if (place.identity != Identity::None)
        return place.number;
    place = {identity, number};
    if (++m_count * 2 > m_places.size())
        grow();
    return None;
}

} // namespace Platform
