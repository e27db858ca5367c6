#include "BinaryDecoder.h"

#include "PropertyListLimits.h"

namespace Platform {

int BinaryDecoder::decode(quint32 index, int depth, ArchiveValue& result) {
    const Reader::Object object = m_reader.object(index);
    switch (object.kind) {
    case Kind::Uid:
        return decodeUid(static_cast<quint32>(object.integer), depth, result);
    case Kind::Array:
        return decodeArray(object, depth, result);
    case Kind::Dictionary:
        return decodeDictionary(object, depth, result);
    default:
        return decodeScalar(index, object, result) ? 0 : Broken;
    }
}

int BinaryDecoder::decodeUid(quint32 number, int, ArchiveValue& result) {
    result = ArchiveValue(ArchiveValue::Dictionary{{UidKey, number}});
    return 0;
}

bool BinaryDecoder::decodeScalar(quint32 index, const Reader::Object& object, ArchiveValue& result) {
    // Nothing has nothing to give up, and assigning to it would take half of the time.
    const auto make = [&result](auto&&... content) {
        std::construct_at(&result, std::forward<decltype(content)>(content)...);
        return !result.isNothing();
    };
    switch (object.kind) {
    case Kind::Boolean:
        return make(object.integer != 0);
    case Kind::Integer:
        return make(object.integer);
    case Kind::Unsigned:
        return make(ArchiveValue::unsignedInteger(static_cast<quint64>(object.integer)));
    case Kind::Real:
        return make(object.real());
    case Kind::Date:
        return make(ArchiveValue::date(object.real()));
    case Kind::Data: {
        const auto bytes = m_reader.data(index, object);
        return bytes && make(*bytes);
    }
    default:
        return make(m_reader.string(index, object));
    }
}

bool BinaryDecoder::enter(quint32 entries, int depth) {
    if (depth >= PropertyListLimits::Depth || entries > m_reader.mostValues() - m_values)
        return false;
    m_values += entries;
    return true;
}

int BinaryDecoder::decodeArray(const Reader::Object& object, int depth, ArchiveValue& result) {
    if (!enter(object.count, depth))
        return Broken;
    ArchiveValue::Array items(object.count);
    const int height =
        decodeEach(object.count, [&](quint32 i) { return decode(m_reader.reference(object, i), depth + 1, items[i]); });
    result = ArchiveValue(std::move(items));
    return height;
}

int BinaryDecoder::decodeDictionary(const Reader::Object& object, int depth, ArchiveValue& result) {
    if (!enter(object.count, depth))
        return Broken;
    ArchiveValue::Dictionary entries(object.count);
    const int height = decodeEach(object.count, [&](quint32 i) {
        entries[i].key = m_reader.string(m_reader.reference(object, i));
        return entries[i].key.isNull()
            ? Broken
            : decode(m_reader.reference(object, object.count + i), depth + 1, entries[i].value);
    });
    result = ArchiveValue(std::move(entries));
    return height;
}

} // namespace Platform
