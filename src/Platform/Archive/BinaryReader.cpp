#include "BinaryReader.h"

#include "PropertyList.h"
#include "PropertyListLimits.h"

namespace Platform {

using namespace BinaryFormat;

BinaryReader::BinaryReader(QByteArrayView bytes)
    : m_file(bytes), m_places(m_file.objectCount()), m_left(PropertyListLimits::values(bytes.size()) - 1),
      m_textLeft(2 * bytes.size()) {
    std::fill(m_places.begin(), m_places.end(), 0);
}

std::optional<ArchiveValue> BinaryReader::readRoot() {
    ArchiveValue root;
    return read(m_file.topObject(), 0, root) == Broken ? std::nullopt : std::optional(std::move(root));
}

int BinaryReader::read(quint32 number, int depth, ArchiveValue& result) {
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
        return readKept(m_places[number], depth, result, [&] {
            return readDictionary(object.count, depth, result, [&](quint32 i, ArchiveEntry& entry) {
                entry.key = readText(m_file.reference(object, i));
                return entry.key.isNull() ? Broken
                                          : read(m_file.reference(object, object.count + i), depth + 1, entry.value);
            });
        });
    default:
        return readScalar(number, object, result) ? 0 : Broken;
    }
}

int BinaryReader::readUid(quint64 uid, int, ArchiveValue& result) {
    if (!std::in_range<quint32>(uid))
        return Broken;
    result = ArchiveValue::Dictionary{{UidKey, uid}};
    return 0;
}

int BinaryReader::readAgain(quint32 place, int depth, ArchiveValue& result) {
    if (place == BeingRead) // nothing stands within itself
        return Broken;
    const Kept& kept = m_kept[place - FirstKept];
    if (depth + kept.height > PropertyListLimits::Depth || kept.values > m_left)
        return Broken;
    m_left -= kept.values;
    result = kept.value;
    return kept.height;
}

bool BinaryReader::readScalar(quint32 number, const Object& object, ArchiveValue& result) {
    if (object.marker == Text || object.marker == WideText) {
        std::construct_at(&result, readText(number, object));
    } else if (object.marker != Data) {
        std::construct_at(&result, BinaryFile::number(object));
    } else if (quint32& place = m_places[number]; place >= FirstKept) {
        result = m_kept[place - FirstKept].value;
    } else if (take(object.count)) {
        std::construct_at(&result, QByteArray(reinterpret_cast<const char*>(object.place), object.count));
        place = place == 0 ? Met : keep({result, 0, 0});
    }
    return !result.isNothing();
}

QString BinaryReader::readText(quint32 number, const Object& object) {
    if (object.marker != Text && object.marker != WideText)
        return {};
    quint32& place = m_places[number];
    if (place >= FirstKept)
        return m_kept[place - FirstKept].value.string();
    if (!take(object.marker == WideText ? 2 * qsizetype{object.count} : object.count))
        return {};
    QString text = BinaryFile::text(object);
    place = place == 0 ? Met : keep({text, 0, 0});
    return text;
}

std::optional<ArchiveValue> PropertyList::decoded(const QByteArray& bytes) {
    return bytes.startsWith("bplist") ? decodedBinary(bytes) : decodedXml(bytes);
}

std::optional<ArchiveValue> PropertyList::decodedBinary(const QByteArray& bytes) {
    return BinaryReader(bytes).readRoot();
}

} // namespace Platform
