#include "KeyedUnarchiver.h"

#include "BinaryReader.h"
#include "KeyedArchiveFormat.h"
#include "PropertyListLimits.h"

#include <map>

namespace Platform {

namespace {

using namespace KeyedArchiveFormat;
using namespace BinaryFormat;
using Type = ArchiveValue::Type;

/// What objects of a class are read as.
struct ClassEntry {
    std::shared_ptr<const ArchiveClass> objectClass;
    Type type = Type::Object;
    bool isMutable = false;
};

/// Makes the values of an archive out of the property list that it is.
class Unarchiver final : BinaryReader {
public:
    Unarchiver(const QByteArray& file, const AllowedClasses& allowed)
        : BinaryReader(file), m_allowed(allowed), m_looksLeft(4 * PropertyListLimits::values(file.size())) {}

    std::optional<ArchiveValue> unarchive(QString* rootKey) {
        const Object archive = m_file.object(m_file.topObject());
        m_list = member(archive, ObjectsKey);
        const ArchiveValue number = BinaryFile::number(member(archive, VersionKey));
        if (number.type() != Version.type() || number.integer() != Version.integer() || m_list.marker != Array ||
            m_list.count > PropertyListLimits::Objects || !m_file.isText(find(archive, ArchiverKey), ArchiverName))
            return std::nullopt;
        const Object top = member(archive, TopKey);
        QString key = RootKey;
        if (rootKey && top.marker == Dictionary && top.count == 1)
            *rootKey = key = readText(m_file.reference(top, 0));
        m_placesOfUids.resize(m_list.count, 0);
        ArchiveValue root;
        return readUid(m_file.uid(find(top, key)), 0, root) ? std::optional(std::move(root)) : std::nullopt;
    }

private:
    /// The value of a key; broken without one, and when more has been looked at than any honest file has.
    Object member(const Object& dictionary, const QString& key) { return m_file.object(find(dictionary, key)); }
    quint32 find(const Object& dictionary, const QString& key) {
        if (dictionary.count > m_looksLeft)
            return BinaryFile::NoObject;
        m_looksLeft -= dictionary.count;
        return m_file.find(dictionary, key);
    }
    quint32 numberOf(quint64 uid) const { return m_file.reference(m_list, static_cast<quint32>(uid)); }

    bool readUid(quint64 uid, int depth, ArchiveValue& result) override {
        if (uid == 0 || uid >= m_list.count)
            return uid == 0 && m_list.count > 0; // 0 is no object, whatever stands there
        const quint32 number = numberOf(uid);
        const Object object = m_file.object(number);
        return object.marker == Dictionary ? readKept(m_placesOfUids[static_cast<qsizetype>(uid)], depth, result,
                                                 [&] { return readObject(object, depth, result); })
                                           : readScalar(number, object, result) && isAllowedScalar(result);
    }

    bool isAllowedScalar(const ArchiveValue& value) const {
        switch (value.type()) {
        case Type::String:
            return m_allowsText;
        case Type::Data:
            return m_allowed.allows(u"NSData");
        case Type::Date:
            return m_allowed.allows(u"NSDate");
        default:
            return m_allowsNumber;
        }
    }

    bool readObject(const Object& object, int depth, ArchiveValue& result) {
        const ClassEntry* objectClass = classOf(object);
        if (!objectClass || !readForm(*objectClass, object, depth, result))
            return false;
        if (objectClass->isMutable)
            result = result.asMutable();
        return true;
    }

    bool readForm(const ClassEntry& objectClass, const Object& object, int depth, ArchiveValue& result) {
        switch (objectClass.type) {
        case Type::Null:
            result = ArchiveValue::null();
            return true;
        case Type::String:
            return readContent(object, StringKey, result) && result.isString();
        case Type::Data:
            return readContent(object, DataKey, result) && result.isData();
        case Type::Date:
            if (!readContent(object, TimeKey, result) || !result.isDouble())
                return false;
            result = ArchiveValue::date(result.number());
            return true;
        case Type::Array: {
            const Object list = member(object, ItemsKey);
            return list.marker == Array && readArray(list.count, depth, result, [&](quint32 i, ArchiveValue& item) {
                return readUid(uidAt(list, i), depth + 1, item);
            });
        }
        case Type::Dictionary:
            return readPairs(object, objectClass, depth, result);
        default:
            return readFields(object, objectClass, depth, result);
        }
    }

    bool readContent(const Object& object, const QString& key, ArchiveValue& result) {
        const quint32 number = find(object, key);
        return readScalar(number, m_file.object(number), result);
    }

    quint64 uidAt(const Object& list, quint32 position) const { return m_file.uid(m_file.reference(list, position)); }

    /// A dictionary with an object among its keys is read as an object with the fields "NS.keys" and "NS.objects". Once
    /// written, these are lists of their own.
    bool readLists(const Object& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        return readFields(object, objectClass, depth, result) && result.value(KeysKey).isArray() &&
            result.value(ItemsKey).isArray();
    }

    bool readPairs(const Object& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        const Object keys = member(object, KeysKey);
        const Object values = member(object, ItemsKey);
        if (keys.marker == Uid)
            return readLists(object, objectClass, depth, result);
        if (keys.marker != Array || values.marker != Array || keys.count != values.count ||
            !(m_allowsText || keys.count == 0) || !enter(keys.count, depth))
            return false;
        if (const auto other = readKeys(keys)) {
            leave(keys.count);
            return m_file.object(*other).marker == Dictionary && readLists(object, objectClass, depth, result);
        }
        ArchiveValue::Dictionary entries(keys.count);
        for (quint32 i = 0; i < keys.count; ++i)
            entries[i].key = m_keyTexts[i];
        bool isRead = true;
        for (quint32 i = 0; i < keys.count && isRead; ++i)
            isRead = readUid(uidAt(values, i), depth + 1, entries[i].value);
        std::construct_at(&result, std::move(entries));
        return isRead;
    }

    /// To m_keyTexts. Returns the number of the first that is no text.
    std::optional<quint32> readKeys(const Object& keys) {
        // Lists of dictionaries that all have the same keys are the rule.
        if (m_file.haveSameReferences(keys, std::exchange(m_keys, keys)))
            return std::nullopt;
        m_keyTexts.clear();
        for (quint32 i = 0; i < keys.count; ++i) {
            const quint64 uid = uidAt(keys, i);
            // Number 0 is no object, whatever text stands for it.
            const quint32 number = uid > 0 && uid < m_list.count ? numberOf(uid) : BinaryFile::NoObject;
            m_keyTexts.push_back(readText(number));
            if (m_keyTexts.back().isNull()) {
                m_keys = {};
                return number;
            }
        }
        return std::nullopt;
    }

    bool readFields(const Object& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        bool isRead = enter(object.count, depth);
        ArchiveValue::Dictionary fields;
        fields.reserve(isRead ? object.count : 0);
        for (quint32 i = 0; i < object.count && isRead; ++i) {
            const quint32 number = m_file.reference(object, i);
            if (m_file.isText(number, ClassKey))
                continue;
            ArchiveEntry& field = fields.emplace_back();
            field.key = readText(number);
            // A field's own name that begins with "$" was given another one.
            if (QStringView(field.key).startsWith(u"$$"))
                field.key.remove(0, 1);
            isRead = !field.key.isNull() && read(m_file.reference(object, object.count + i), depth + 1, field.value);
        }
        std::construct_at(&result, ArchiveValue::object(objectClass.objectClass, std::move(fields)));
        return isRead;
    }

    /// Nothing for an object that has no class, or one that is not allowed.
    const ClassEntry* classOf(const Object& object) {
        const quint64 uid = m_file.uid(find(object, ClassKey));
        if (uid >= m_list.count)
            return nullptr;
        if (uid != m_lastClassUid) {
            const auto [known, isNew] = m_classes.try_emplace(uid);
            if (isNew)
                known->second = readClass(m_file.object(numberOf(uid)));
            m_lastClassUid = uid;
            m_lastClass = known->second ? &*known->second : nullptr;
        }
        return m_lastClass;
    }

    std::optional<ClassEntry> readClass(const Object& entry) {
        const quint32 name = find(entry, ClassNameKey);
        const quint32 listNumber = find(entry, ClassListKey);
        const Object list = m_file.object(listNumber);
        // The list is left out by some writers; "$classhints" is not looked at.
        if (name == BinaryFile::NoObject || list.count > m_looksLeft ||
            !(listNumber == BinaryFile::NoObject || list.marker == Array))
            return std::nullopt;
        m_looksLeft -= list.count;
        ArchiveClass result{readText(name), {}};
        result.classes.reserve(list.count);
        for (quint32 i = 0; i < list.count; ++i) {
            result.classes.append(readText(m_file.reference(list, i)));
            if (result.classes.last().isNull())
                return std::nullopt;
        }
        if (result.name.isEmpty() || !m_allowed.allows(result.name, result.classes))
            return std::nullopt;
        ClassEntry read;
        if (result.name.startsWith(NativePrefix)) {
            read.isMutable = result.name.startsWith(MutablePrefix);
            const QStringView kind =
                QStringView(result.name).mid((read.isMutable ? MutablePrefix : NativePrefix).size());
            for (const auto& [type, kindName] : NativeClasses) {
                if (kind == kindName)
                    read.type = type;
            }
        }
        read.objectClass = std::make_shared<const ArchiveClass>(std::move(result));
        return read;
    }

    const AllowedClasses& m_allowed;
    const bool m_allowsText = m_allowed.allows(u"NSString");
    const bool m_allowsNumber = m_allowed.allows(u"NSNumber") || m_allowed.allows(u"NSValue");
    /// Keys of dictionaries and names of classes that may still be compared.
    quint32 m_looksLeft;
    /// The archive's objects.
    Object m_list;
    Places m_placesOfUids;
    /// Of the last dictionary.
    Object m_keys;
    std::vector<QString> m_keyTexts;
    std::map<quint64, std::optional<ClassEntry>> m_classes;
    quint64 m_lastClassUid = ~quint64{0};
    const ClassEntry* m_lastClass = nullptr;
};

} // namespace

std::optional<ArchiveValue> KeyedUnarchiver::unarchivedObject(
    const QByteArray& data, const AllowedClasses& allowed, QString* rootKey) {
    return Unarchiver(data, allowed).unarchive(rootKey);
}

} // namespace Platform
