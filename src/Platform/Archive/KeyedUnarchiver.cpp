#include "KeyedUnarchiver.h"

#include "ArchiveClasses.h"
#include "BinaryDecoder.h"
#include "PropertyListLimits.h"

#include <QVarLengthArray>

namespace Platform {

namespace {

constexpr qint64 ArchiveVersion = 100000;

/// Reads an archive's own dictionary and, from the root on, what its list of objects holds.
class ArchiveDecoder final : public BinaryDecoder {
public:
    ArchiveDecoder(Reader& reader, const AllowedClasses& allowed)
        : BinaryDecoder(reader), m_lookUp(reader), m_classes(reader, m_lookUp, allowed), m_allowed(allowed) {}

    bool decodeRoot(ArchiveValue& root, QString* rootKey) {
        const Reader::Object archive = m_reader.object(m_reader.topObject());
        const Reader::Object version = m_reader.object(find(archive, m_version));
        m_objects = m_reader.object(find(archive, m_objectsName));
        if (version.kind != Kind::Integer || version.integer != ArchiveVersion || m_objects.kind != Kind::Array ||
            !m_reader.isText(find(archive, m_archiver), "NSKeyedArchiver"))
            return false;
        m_readAt.resize(m_objects.count);
        std::fill(m_readAt.begin(), m_readAt.end(), 0);
        const quint32 uid = m_reader.uid(findRoot(m_reader.object(find(archive, m_top)), rootKey));
        return decodeUid(uid, 0, root) != Broken;
    }

private:
    /// An object that has been met, and what it counts wherever else it stands.
    struct Read {
        ArchiveValue value;
        quint32 values = 0;
        int height = Broken;
    };

    quint32 find(const Reader::Object& dictionary, ArchiveKey& key) { return m_lookUp.find(dictionary, key); }

    quint32 findRoot(const Reader::Object& top, QString* key) {
        if (!key || top.kind != Kind::Dictionary || top.count != 1)
            return find(top, m_root);
        *key = m_reader.string(m_reader.reference(top, 0));
        return m_reader.reference(top, 1);
    }

    /// Decodes what a UID stands for, once: from then on the same value is handed out and counted again.
    int decodeUid(quint32 number, int depth, ArchiveValue& result) override {
        if (number >= m_objects.count)
            return Broken;
        if (number == 0)
            return 0;
        const quint32 index = m_reader.reference(m_objects, number);
        const Reader::Object object = m_reader.object(index);
        // What stands for itself is quicker read again than kept.
        if (object.kind != Kind::Dictionary)
            return decodeScalar(index, object, result) && isAllowed(result) ? 0 : Broken;
        if (m_readAt[number] != 0)
            return again(m_read[m_readAt[number] - 1], depth, result);
        m_read.push_back({});
        const auto place = m_readAt[number] = static_cast<quint32>(m_read.size());
        const quint32 before = m_values;
        const int height = decodeObject(object, depth, result);
        m_read[place - 1] = {result, m_values - before, height};
        return height;
    }

    /// Broken for one that is still being read, which would stand within itself.
    int again(const Read& read, int depth, ArchiveValue& result) {
        if (read.height == Broken || depth + read.height > PropertyListLimits::Depth ||
            read.values > m_reader.mostValues() - m_values)
            return Broken;
        m_values += read.values;
        result = read.value;
        return read.height;
    }

    bool isAllowed(const ArchiveValue& scalar) const {
        switch (scalar.type()) {
        case ArchiveValue::Type::String:
            return m_allowsString;
        case ArchiveValue::Type::Data:
            return m_allowed.allows(u"NSData");
        case ArchiveValue::Type::Date:
            return m_allowed.allows(u"NSDate");
        default:
            return m_allowsNumber;
        }
    }

    int decodeObject(const Reader::Object& object, int depth, ArchiveValue& result) {
        const ArchiveClasses::Entry* entry = m_classes.of(object, m_objects);
        if (!entry || !entry->isAllowed)
            return Broken;
        const int height = decodeForm(*entry, object, depth, result);
        if (entry->isMutable)
            result = result.asMutable();
        return height;
    }

    int decodeForm(const ArchiveClasses::Entry& entry, const Reader::Object& object, int depth, ArchiveValue& result) {
        switch (entry.form) {
        case ArchiveForm::Null:
            result = ArchiveValue::null();
            return 0;
        case ArchiveForm::String:
            return decodeSingle(object, m_string, result) && result.isString() ? 0 : Broken;
        case ArchiveForm::Data:
            return decodeSingle(object, m_data, result) && result.isData() ? 0 : Broken;
        case ArchiveForm::Date:
            if (!decodeSingle(object, m_time, result) || !result.isDouble())
                return Broken;
            result = ArchiveValue::date(result.number());
            return 0;
        case ArchiveForm::Array:
            return decodeList(m_reader.object(find(object, m_arrayObjects)), depth, result);
        case ArchiveForm::Dictionary:
            return decodePairs(object, entry, depth, result);
        case ArchiveForm::Object:
            return decodeFields(object, entry, depth, result);
        }
        return Broken;
    }

    bool decodeSingle(const Reader::Object& object, ArchiveKey& key, ArchiveValue& result) {
        const quint32 index = find(object, key);
        return decodeScalar(index, m_reader.object(index), result);
    }

    int decodeMember(const Reader::Object& list, quint32 position, int depth, ArchiveValue& result) {
        return decodeUid(m_reader.uid(m_reader.reference(list, position)), depth + 1, result);
    }

    int decodeList(const Reader::Object& list, int depth, ArchiveValue& result) {
        if (list.kind != Kind::Array || !enter(list.count, depth))
            return Broken;
        ArchiveValue::Array items(list.count);
        const int height = decodeEach(list.count, [&](quint32 i) { return decodeMember(list, i, depth, items[i]); });
        result = ArchiveValue(std::move(items));
        return height;
    }

    /// A dictionary with an object among its keys is read as an object with the fields "NS.keys" and "NS.objects". Once
    /// written, these are lists of their own.
    int decodePairs(const Reader::Object& object, const ArchiveClasses::Entry& entry, int depth, ArchiveValue& result) {
        const Reader::Object keys = m_reader.object(find(object, m_keys));
        const Reader::Object values = m_reader.object(find(object, m_dictionaryObjects));
        if (keys.kind == Kind::Uid)
            return decodeFields(object, entry, depth, result);
        if (keys.kind != Kind::Array || values.kind != Kind::Array || keys.count != values.count ||
            !(m_allowsString || keys.count == 0) || !enter(keys.count, depth))
            return Broken;
        ArchiveValue::Dictionary entries(keys.count);
        for (quint32 i = 0; i < keys.count; ++i) {
            const quint32 key = keyObject(m_reader.uid(m_reader.reference(keys, i)));
            entries[i].key = m_reader.string(key);
            if (!entries[i].key.isNull())
                continue;
            m_values -= keys.count;
            return m_reader.object(key).kind == Kind::Dictionary ? decodeFields(object, entry, depth, result) : Broken;
        }
        const int height =
            decodeEach(values.count, [&](quint32 i) { return decodeMember(values, i, depth, entries[i].value); });
        result = ArchiveValue(std::move(entries));
        return height;
    }

    /// Number 0 is no object, whatever text stands for it.
    quint32 keyObject(quint32 number) const {
        return number > 0 && number < m_objects.count ? m_reader.reference(m_objects, number) : Reader::NoObject;
    }

    int decodeFields(
        const Reader::Object& object, const ArchiveClasses::Entry& entry, int depth, ArchiveValue& result) {
        if (!enter(object.count, depth))
            return Broken;
        ArchiveValue::Dictionary fields;
        fields.reserve(object.count);
        const int height = decodeEach(object.count, [&](quint32 i) {
            const quint32 key = m_reader.reference(object, i);
            if (m_lookUp.is(key, m_class))
                return 0;
            ArchiveEntry& field = fields.emplace_back();
            field.key = m_reader.string(key);
            // A field's own name that begins with "$" was given another one.
            if (field.key.startsWith(u"$$"))
                field.key.remove(0, 1);
            return field.key.isNull() ? Broken
                                      : decode(m_reader.reference(object, object.count + i), depth + 1, field.value);
        });
        result = ArchiveValue::object(entry.objectClass, std::move(fields));
        return height;
    }

    ArchiveKeys m_lookUp;
    ArchiveClasses m_classes;
    const AllowedClasses& m_allowed;
    const bool m_allowsString = m_allowed.allows(u"NSString");
    const bool m_allowsNumber = m_allowed.allows(u"NSNumber") || m_allowed.allows(u"NSValue");
    Reader::Object m_objects;
    /// For each object of the archive its place in m_read, from 1 on; 0 for what has not been met.
    QVarLengthArray<quint32, 64> m_readAt;
    QVarLengthArray<Read, 8> m_read;
    ArchiveKey m_version{"$version"};
    ArchiveKey m_archiver{"$archiver", 1};
    ArchiveKey m_top{"$top", 2};
    ArchiveKey m_root{"root"};
    ArchiveKey m_objectsName{"$objects", 3};
    ArchiveKey m_class{"$class"};
    ArchiveKey m_keys{"NS.keys"};
    ArchiveKey m_arrayObjects{"NS.objects"};
    ArchiveKey m_dictionaryObjects{"NS.objects", 1};
    ArchiveKey m_string{"NS.string"};
    ArchiveKey m_data{"NS.data"};
    ArchiveKey m_time{"NS.time"};
};

} // namespace

std::optional<ArchiveValue> KeyedUnarchiver::unarchivedObject(
    const QByteArray& data, const AllowedClasses& allowed, QString* rootKey) {
    BinaryPropertyListReader reader;
    ArchiveValue root;
    if (!reader.open(data) || !ArchiveDecoder(reader, allowed).decodeRoot(root, rootKey))
        return std::nullopt;
    return root;
}

} // namespace Platform
