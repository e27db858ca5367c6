#include "BinaryReader.h"

#include "PropertyList.h"
#include "ValueCount.h"

#include <algorithm>

namespace Platform {

using namespace BinaryFormat;

BinaryReader::BinaryReader(QByteArrayView bytes)
    : m_file(bytes), m_places(m_file.objectCount()), m_left(PropertyListLimits::values(bytes.size()) - 1),
      m_textLeft(2 * bytes.size()) {
    std::fill(m_places.begin(), m_places.end(), 0);
}

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
    if (place == BeingRead || !countValues(m_kept[place - FirstKept], depth, values))
        return false; // nothing stands within itself
    m_left -= static_cast<qint64>(values);
    result = m_kept[place - FirstKept];
    return m_left >= 0;
}

bool BinaryReader::readScalar(quint32 number, const Object& object, ArchiveValue& result) {
    if (object.marker != Text && object.marker != WideText && object.marker != Data) {
        std::construct_at(&result, BinaryFile::number(object));
        return !result.isNothing();
    }
    quint32& place = m_places[number];
    if (place >= FirstKept) {
        result = m_kept[place - FirstKept];
        return true;
    }
    const qsizetype length = object.marker == WideText ? 2 * qsizetype{object.count} : object.count;
    if ((m_textLeft -= length) < 0)
        return false;
    if (object.marker == Data)
        std::construct_at(&result, QByteArray(reinterpret_cast<const char*>(object.place), length));
    else
        std::construct_at(&result, BinaryFile::text(object));
    place = place == 0 ? Met : keep(result);
    return true;
}

QString BinaryReader::readText(quint32 number) {
    if (number < m_file.objectCount() && m_places[number] >= FirstKept)
        return m_kept[m_places[number] - FirstKept].string();
    ArchiveValue text;
    readScalar(number, m_file.object(number), text);
    return text.string();
}

std::optional<ArchiveValue> PropertyList::decoded(const QByteArray& bytes) {
    return bytes.startsWith("bplist") ? decodedBinary(bytes) : decodedXml(bytes);
}

std::optional<ArchiveValue> PropertyList::decodedBinary(const QByteArray& bytes) {
    return BinaryReader(bytes).readRoot();
}

} // namespace Platform
