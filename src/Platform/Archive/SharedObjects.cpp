#include "SharedObjects.h"

#include <array>

namespace Platform {

namespace {

/// The upper bits of an identity; what makes a value one with others stands below. No identity is 0.
enum Kind : quint64 {
    SevenBit = 1,
    SixBit = 2,
    FiveBit = 3,
    WholeNumber = 4,
    SingleValue = 5,
    Key = 6,
    Class = 7,
    Instance = 9
};
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

} // namespace

quint32 SharedObjects::findOrInsert(quint64 identity, const QString* text, quint32 number) {
    const auto places = static_cast<size_t>(m_places.size());
    for (size_t i = qHash(identity, m_seed);; ++i) {
        Place& place = m_places[static_cast<qsizetype>(i & (places - 1))];
        if (place.identity == identity && (!text || place.text == *text))
            return place.number;
        if (place.identity != None)
            continue;
        place = {identity, number, text ? *text : QString()};
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
            findOrInsert(place.identity, place.text.isNull() ? nullptr : &place.text, place.number);
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

} // namespace Platform
