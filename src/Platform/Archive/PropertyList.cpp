#include "PropertyList.h"

#include "BinaryDecoder.h"
#include "BinaryPropertyListWriter.h"
#include "Identity.h"
#include "KeyOrder.h"
#include "PropertyListLimits.h"
#include "ValueCount.h"

namespace Platform {

namespace {

constexpr quint32 NoObject = BinaryPropertyListReader::NoObject;

class BinaryEncoder {
public:
    QByteArray encode(const ArchiveValue& root) {
        size_t values = 1;
        if (!countValues(root, 0, values) || add(root) == NoObject || m_order.isExhausted())
            return {};
        const QByteArray bytes = m_writer.bytes();
        return values <= PropertyListLimits::values(bytes.size()) ? bytes : QByteArray();
    }

private:
    /// The object's number in the table; NoObject for what a property list cannot hold.
    quint32 add(const ArchiveValue& value) {
        switch (value.type()) {
        case ArchiveValue::Type::Nothing:
        case ArchiveValue::Type::Null:
        case ArchiveValue::Type::Object:
            return NoObject;
        case ArchiveValue::Type::Boolean:
            return m_writer.addBoolean(value.boolean());
        case ArchiveValue::Type::Array:
            return addArray(value.array());
        case ArchiveValue::Type::Dictionary:
            return addDictionary(value);
        default:
            const quint64 identity = Identity::ofValue(value);
            const quint32 known = identity == Identity::None
                ? InstanceTable::None
                : m_instances.findOrInsert(identity, m_writer.objectCount());
            return known == InstanceTable::None ? m_writer.addScalar(value) : known;
        }
    }

    /// @returns @p container, or NoObject without @p object
    quint32 set(quint32 container, quint32 position, quint32 object) {
        m_writer.setReference(container, position, object);
        return object == NoObject ? NoObject : container;
    }

    quint32 addArray(const ArchiveValue::Array& items) {
        quint32 object = m_writer.beginArray(static_cast<quint32>(items.size()));
        for (quint32 i = 0; i < items.size() && object != NoObject; ++i)
            object = set(object, i, add(items[i]));
        return object;
    }

    quint32 addDictionary(const ArchiveValue& value) {
        const ArchiveValue::Dictionary& entries = value.dictionary();
        if (entries.size() == 1 && entries[0].key == BinaryDecoder::UidKey && entries[0].value.isInteger()) {
            const qint64 uid = entries[0].value.integer();
            return uid >= 0 && uid < PropertyListLimits::Objects ? m_writer.addUid(quint32(uid)) : NoObject;
        }
        const std::vector<quint32> order = m_order.ofKeys(value);
        const auto count = static_cast<quint32>(order.size());
        quint32 object = m_writer.beginDictionary(count);
        for (quint32 i = 0; i < count; ++i)
            m_writer.setReference(object, i, addKey(entries[order[i]]));
        for (quint32 i = 0; i < count && object != NoObject; ++i)
            object = set(object, count + i, add(entries[order[i]].value));
        return object;
    }

    quint32 addKey(const ArchiveEntry& entry) {
        const quint64 identity = Identity::ofText(entry.key, entry.keyInstance, Identity::Place::DictionaryKey);
        const quint32 known = m_instances.findOrInsert(identity, m_writer.objectCount());
        return known != InstanceTable::None && m_writer.isString(known, entry.key) ? known
                                                                                   : m_writer.addString(entry.key);
    }

    BinaryPropertyListWriter m_writer;
    InstanceTable m_instances;
    KeyOrder m_order;
};

} // namespace

std::optional<ArchiveValue> PropertyList::decoded(const QByteArray& bytes) {
    return bytes.startsWith("bplist") ? decodedBinary(bytes) : decodedXml(bytes);
}

std::optional<ArchiveValue> PropertyList::decodedBinary(const QByteArray& bytes) {
    BinaryPropertyListReader reader;
    ArchiveValue root;
    if (!reader.open(bytes) || BinaryDecoder(reader).decode(reader.topObject(), 0, root) == BinaryDecoder::Broken)
        return std::nullopt;
    return root;
}

QByteArray PropertyList::binaryData(const ArchiveValue& root) {
    return BinaryEncoder().encode(root);
}

} // namespace Platform
