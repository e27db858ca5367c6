#include "PropertyList.h"

#include "ArchiveScalars.h"
#include "BinaryPropertyListWriter.h"
#include "InstanceTable.h"
#include "KeyOrder.h"
#include "PropertyListLimits.h"

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Reader = BinaryPropertyListReader;

const QString UidKey = u"CF$UID"_s;

/// Builds the value below one object. A value is counted at every place where it stands, so that neither shared
/// containers nor cycles get far.
class BinaryDecoder {
public:
    explicit BinaryDecoder(Reader& reader) : m_reader(reader) {}

    bool decode(quint32 index, int depth, ArchiveValue& result) {
        const Reader::Object object = m_reader.object(index);
        if (++m_values > PropertyListLimits::Objects)
            return false;
        switch (object.kind) {
        case Reader::Kind::Uid:
            result = ArchiveValue(ArchiveValue::Dictionary{{UidKey, object.integer}});
            return true;
        case Reader::Kind::Array:
            return decodeArray(object, depth, result);
        case Reader::Kind::Dictionary:
            return decodeDictionary(object, depth, result);
        default:
            return ArchiveScalars::read(m_reader, index, object, result);
        }
    }

private:
    /// Room for @p entries in a container at @p depth, beside what the containers around it still wait for.
    bool enter(quint32 entries, int depth) {
        if (depth >= PropertyListLimits::Depth || quint64(m_pending) + entries > PropertyListLimits::Objects - m_values)
            return false;
        m_pending += entries;
        return true;
    }

    bool decodeArray(const Reader::Object& object, int depth, ArchiveValue& result) {
        if (!enter(object.count, depth))
            return false;
        ArchiveValue::Array items(object.count);
        for (quint32 i = 0; i < object.count; ++i) {
            --m_pending;
            if (!decode(m_reader.reference(object, i), depth + 1, items[i]))
                return false;
        }
        result = ArchiveValue(std::move(items));
        return true;
    }

    bool decodeDictionary(const Reader::Object& object, int depth, ArchiveValue& result) {
        if (!enter(object.count, depth))
            return false;
        ArchiveValue::Dictionary entries(object.count);
        for (quint32 i = 0; i < object.count; ++i) {
            --m_pending;
            const quint32 key = m_reader.reference(object, i);
            const Reader::Object keyObject = m_reader.object(key);
            if (keyObject.kind != Reader::Kind::String && keyObject.kind != Reader::Kind::WideString)
                return false;
            entries[i].key = m_reader.string(key, keyObject);
            if (entries[i].key.isNull() ||
                !decode(m_reader.reference(object, object.count + i), depth + 1, entries[i].value))
                return false;
        }
        result = ArchiveLayout::dictionaryAsStored(std::move(entries));
        return true;
    }

    Reader& m_reader;
    quint32 m_values = 0;
    /// Entries for which open containers have made room.
    quint32 m_pending = 0;
};

class BinaryEncoder {
public:
    /// The object's number in the table, or nothing for what a property list cannot hold.
    std::optional<quint32> encode(const ArchiveValue& value, int depth) {
        if (m_writer.objectCount() > PropertyListLimits::Objects)
            return std::nullopt;
        switch (value.type()) {
        case ArchiveValue::Type::Nothing:
        case ArchiveValue::Type::Null:
        case ArchiveValue::Type::Object:
            return std::nullopt;
        case ArchiveValue::Type::Boolean:
            return m_writer.addBoolean(value.boolean());
        case ArchiveValue::Type::Array:
            return depth < PropertyListLimits::Depth ? encodeArray(value, depth) : std::nullopt;
        case ArchiveValue::Type::Dictionary:
            return depth < PropertyListLimits::Depth ? encodeDictionary(value, depth) : std::nullopt;
        default:
            const Identity identity = Identity::ofValue(value);
            const quint32 known =
                identity.isShared() ? m_instances.findOrInsert(identity, m_writer.objectCount()) : InstanceTable::None;
            return known == InstanceTable::None ? m_writer.addScalar(value) : known;
        }
    }

    QByteArray bytes() const { return m_writer.bytes(); }

private:
    std::optional<quint32> encodeArray(const ArchiveValue& value, int depth) {
        const auto count = static_cast<quint32>(value.array().size());
        const quint32 object = m_writer.beginArray(count);
        for (quint32 i = 0; i < count; ++i) {
            const auto item = encode(value.array()[i], depth + 1);
            if (!item)
                return std::nullopt;
            m_writer.setReference(object, i, *item);
        }
        return object;
    }

    std::optional<quint32> encodeDictionary(const ArchiveValue& value, int depth) {
        const ArchiveValue::Dictionary& entries = value.dictionary();
        if (entries.size() == 1 && entries[0].key == UidKey && entries[0].value.isInteger()) {
            const qint64 uid = entries[0].value.integer();
            return uid >= 0 && uid < PropertyListLimits::Objects ? std::optional(m_writer.addUid(quint32(uid)))
                                                                 : std::nullopt;
        }
        const auto count = static_cast<quint32>(entries.size());
        std::vector<quint32> order;
        if (!m_order.arrange(value, order))
            return std::nullopt;
        const quint32 object = m_writer.beginDictionary(count);
        for (quint32 i = 0; i < count; ++i)
            m_writer.setReference(object, i, encodeKey(entries[order[i]]));
        for (quint32 i = 0; i < count; ++i) {
            const auto item = encode(entries[order[i]].value, depth + 1);
            if (!item)
                return std::nullopt;
            m_writer.setReference(object, count + i, *item);
        }
        return object;
    }

    quint32 encodeKey(const ArchiveEntry& entry) {
        const Identity identity = Identity::ofText(entry.key, entry.keyInstance, Identity::Place::DictionaryKey);
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
    Reader reader;
    ArchiveValue root;
    if (!reader.open(bytes) || !BinaryDecoder(reader).decode(reader.topObject(), 0, root))
        return std::nullopt;
    return root;
}

QByteArray PropertyList::binaryData(const ArchiveValue& root) {
    BinaryEncoder encoder;
    return encoder.encode(root, 0) ? encoder.bytes() : QByteArray();
}

} // namespace Platform
