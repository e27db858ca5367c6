#include "KeyedUnarchiver.h"

#include "BinaryFormat.h"
#include "KeyedArchiveFormat.h"
#include "ObjectReader.h"
#include "PropertyList.h"

#include <map>

namespace Platform {

namespace {

using namespace KeyedArchiveFormat;
using BinaryFormat::uidOf;
using Type = ArchiveValue::Type;

/// What objects of a class are read as.
struct ClassEntry {
    std::shared_ptr<const ArchiveClass> objectClass;
    Type type = Type::Object;
    bool isMutable = false;
};

/// Makes the values of an archive out of the property list that it is.
class Unarchiver final : ObjectReader {
public:
    Unarchiver(const ArchiveValue& archive, const AllowedClasses& allowed)
        : m_archive(archive), m_list(archive.value(ObjectsKey).array()), m_allowed(allowed) {}

    std::optional<ArchiveValue> unarchive(qsizetype fileSize, QString* rootKey) {
        const ArchiveValue& top = m_archive.value(TopKey);
        const bool takesAnyKey = rootKey && top.dictionary().size() == 1;
        const auto uid = uidOf(takesAnyKey ? top.dictionary()[0].value : top.value(u"root"));
        if (m_archive.value(VersionKey) != Version || m_archive.value(ArchiverKey) != ArchiverName || !uid)
            return std::nullopt;
        if (takesAnyKey)
            *rootKey = top.dictionary()[0].key;
        start(m_list.size(), fileSize);
        ArchiveValue root;
        return readUid(*uid, 0, root) == Broken ? std::nullopt : std::optional(root);
    }

private:
    int readUid(quint32 number, int depth, ArchiveValue& result) {
        return readOnce(number, depth, result, [&](ArchiveValue& value) {
            const ArchiveValue& object = m_list[number];
            if (number == 0) // no object, whatever stands there
                return 0;
            if (object.isDictionary())
                return readObject(object, depth, value);
            value = object;
            return isAllowedScalar(value) ? 0 : Broken;
        });
    }

    bool isAllowedScalar(const ArchiveValue& value) const {
        switch (value.type()) {
        case Type::String:
            return m_allowed.allows(u"NSString");
        case Type::Data:
            return m_allowed.allows(u"NSData");
        case Type::Date:
            return m_allowed.allows(u"NSDate");
        default:
            return value.isNumber() && (m_allowed.allows(u"NSNumber") || m_allowed.allows(u"NSValue"));
        }
    }

    int readObject(const ArchiveValue& object, int depth, ArchiveValue& result) {
        const ClassEntry* objectClass = classOf(object);
        if (!objectClass)
            return Broken;
        const int height = readForm(*objectClass, object, depth, result);
        if (objectClass->isMutable)
            result = result.asMutable();
        return height;
    }

    int readForm(const ClassEntry& objectClass, const ArchiveValue& object, int depth, ArchiveValue& result) {
        switch (objectClass.type) {
        case Type::Null:
            result = ArchiveValue::null();
            return 0;
        case Type::String:
            result = object.value(StringKey);
            return result.isString() ? 0 : Broken;
        case Type::Data:
            result = object.value(DataKey);
            return result.isData() ? 0 : Broken;
        case Type::Date:
            result = ArchiveValue::date(object.value(TimeKey).number());
            return object.value(TimeKey).isDouble() ? 0 : Broken;
        case Type::Array:
            return readList(object.value(ItemsKey), depth, result);
        case Type::Dictionary:
            return readPairs(object, objectClass, depth, result);
        default:
            return readFields(object, objectClass, depth, result);
        }
    }

    /// What stands for itself, or for the object with its number.
    int readValue(const ArchiveValue& value, int depth, ArchiveValue& result) {
        if (const auto uid = uidOf(value))
            return readUid(*uid, depth, result);
        if (value.isArray())
            return readArray(value.array().size(), depth, result,
                [&](quint32 i, ArchiveValue& item) { return readValue(value.array()[i], depth + 1, item); });
        if (value.isDictionary())
            return readDictionary(value.dictionary().size(), depth, result, [&](quint32 i, ArchiveEntry& entry) {
                entry.key = value.dictionary()[i].key;
                return readValue(value.dictionary()[i].value, depth + 1, entry.value);
            });
        result = value;
        return 0;
    }

    int readMember(const ArchiveValue& member, int depth, ArchiveValue& result) {
        const auto uid = uidOf(member);
        return uid ? readUid(*uid, depth + 1, result) : Broken;
    }

    int readList(const ArchiveValue& list, int depth, ArchiveValue& result) {
        if (!list.isArray())
            return Broken;
        return readArray(list.array().size(), depth, result,
            [&](quint32 i, ArchiveValue& item) { return readMember(list.array()[i], depth, item); });
    }

    /// The object that is a key; none for number 0, which is no object whatever text stands for it.
    const ArchiveValue* keyObject(const ArchiveValue& key) const {
        const auto uid = uidOf(key);
        return uid && *uid > 0 && *uid < m_list.size() ? &m_list[*uid] : nullptr;
    }

    /// A dictionary with an object among its keys is read as an object with the fields "NS.keys" and "NS.objects". Once
    /// written, these are lists of their own.
    int readLists(const ArchiveValue& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        const int height = readFields(object, objectClass, depth, result);
        return result.value(KeysKey).isArray() && result.value(ItemsKey).isArray() ? height : Broken;
    }

    int readPairs(const ArchiveValue& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        if (uidOf(object.value(KeysKey)))
            return readLists(object, objectClass, depth, result);
        const ArchiveValue::Array& keys = object.value(KeysKey).array();
        const ArchiveValue::Array& values = object.value(ItemsKey).array();
        if (!object.value(KeysKey).isArray() || !object.value(ItemsKey).isArray() || keys.size() != values.size() ||
            !(m_allowed.allows(u"NSString") || keys.empty()))
            return Broken;
        for (const ArchiveValue& key : keys) {
            const ArchiveValue* text = keyObject(key);
            if (text && text->isDictionary())
                return readLists(object, objectClass, depth, result);
            if (!text || !text->isString())
                return Broken;
        }
        return readDictionary(keys.size(), depth, result, [&](quint32 i, ArchiveEntry& entry) {
            entry.key = keyObject(keys[i])->string();
            return readMember(values[i], depth, entry.value);
        });
    }

    int readFields(const ArchiveValue& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        const ArchiveValue::Dictionary& pairs = object.dictionary();
        if (!enter(pairs.size(), depth))
            return Broken;
        ArchiveValue::Dictionary fields;
        const int height = readEach(static_cast<quint32>(pairs.size()), [&](quint32 i) {
            if (pairs[i].key == ClassKey)
                return 0;
            // A field's own name that begins with "$" was given another one.
            const bool isEscaped = pairs[i].key.startsWith("$$"_L1);
            ArchiveEntry& field = fields.emplace_back(ArchiveEntry{pairs[i].key.mid(isEscaped ? 1 : 0), {}});
            return readValue(pairs[i].value, depth + 1, field.value);
        });
        result = ArchiveValue::object(objectClass.objectClass, std::move(fields));
        return height;
    }

    /// Nothing for an object that has no class, or one that is not allowed.
    const ClassEntry* classOf(const ArchiveValue& object) {
        const auto uid = uidOf(object.value(ClassKey));
        if (!uid || *uid >= m_list.size())
            return nullptr;
        const auto [known, isNew] = m_classes.try_emplace(*uid);
        if (isNew)
            known->second = readClass(m_list[*uid]);
        return known->second ? &*known->second : nullptr;
    }

    std::optional<ClassEntry> readClass(const ArchiveValue& entry) const {
        ArchiveClass result{entry.value(ClassNameKey).string(), {}};
        for (const ArchiveValue& name : entry.value(ClassListKey).array()) {
            if (!name.isString())
                return std::nullopt;
            result.classes.append(name.string());
        }
        // The list is left out by some writers; "$classhints" is not looked at.
        const ArchiveValue& list = entry.value(ClassListKey);
        if (result.name.isEmpty() || !(list.isNothing() || list.isArray()) ||
            !m_allowed.allows(result.name, result.classes))
            return std::nullopt;
        const bool isMutable = result.name.startsWith(MutablePrefix);
        ClassEntry read{nullptr, Type::Object, isMutable};
        if (result.name.startsWith(NativePrefix)) {
            const QStringView kind = QStringView(result.name).mid((isMutable ? MutablePrefix : NativePrefix).size());
            for (const auto& [type, name] : NativeClasses) {
                if (kind == name)
                    read.type = type;
            }
        }
        read.objectClass = std::make_shared<const ArchiveClass>(std::move(result));
        return read;
    }

    const ArchiveValue& m_archive;
    const ArchiveValue::Array& m_list;
    const AllowedClasses& m_allowed;
    /// By number.
    std::map<quint32, std::optional<ClassEntry>> m_classes;
};

} // namespace

std::optional<ArchiveValue> KeyedUnarchiver::unarchivedObject(
    const QByteArray& data, const AllowedClasses& allowed, QString* rootKey) {
    const auto archive = PropertyList::decodedBinary(data);
    return archive ? Unarchiver(*archive, allowed).unarchive(data.size(), rootKey) : std::nullopt;
}

} // namespace Platform
