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
        BinaryFile::Key version{VersionKey};
        BinaryFile::Key archiver{ArchiverKey};
        BinaryFile::Key objects{ObjectsKey};
        BinaryFile::Key top{TopKey};
        const Object archive = m_file.object(m_file.topObject());
        m_list = member(archive, objects);
        const ArchiveValue number = BinaryFile::number(member(archive, version));
        if (number.type() != Version.type() || number.integer() != Version.integer() || m_list.marker != Array ||
            !m_file.isText(find(archive, archiver), ArchiverName))
            return std::nullopt;
        const Object tops = member(archive, top);
        QString name = RootKey;
        if (rootKey && tops.marker == Dictionary && tops.count == 1)
            *rootKey = name = readText(m_file.reference(tops, 0));
        BinaryFile::Key key{name};
        m_placesOfUids.resize(m_list.count);
        std::fill(m_placesOfUids.begin(), m_placesOfUids.end(), 0);
        ArchiveValue root;
        return readUid(m_file.uid(find(tops, key)), 0, root) == Broken ? std::nullopt : std::optional(std::move(root));
    }

private:
    /// The value of a key; broken without one, and when more has been looked at than any honest file has.
    Object member(const Object& dictionary, BinaryFile::Key& key) { return m_file.object(find(dictionary, key)); }
    quint32 find(const Object& dictionary, BinaryFile::Key& key) {
        if (dictionary.count > m_looksLeft)
            return BinaryFile::NoObject;
        m_looksLeft -= dictionary.count;
        return m_file.find(dictionary, key);
    }
    quint32 numberOf(quint64 uid) const { return m_file.reference(m_list, static_cast<quint32>(uid)); }

    int readUid(quint64 uid, int depth, ArchiveValue& result) override {
        if (uid == 0) // no object, whatever stands there
            return m_list.count > 0 ? 0 : Broken;
        if (uid >= m_list.count)
            return Broken;
        const quint32 number = numberOf(uid);
        const Object object = m_file.object(number);
        if (object.marker == Dictionary)
            return readKept(m_placesOfUids[uid], depth, result, [&] { return readObject(object, depth, result); });
        return readScalar(number, object, result) && isAllowedScalar(result) ? 0 : Broken;
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

    int readObject(const Object& object, int depth, ArchiveValue& result) {
        const ClassEntry* objectClass = classOf(object);
        if (!objectClass)
            return Broken;
        const int height = readForm(*objectClass, object, depth, result);
        if (objectClass->isMutable)
            result = result.asMutable();
        return height;
    }

    int readForm(const ClassEntry& objectClass, const Object& object, int depth, ArchiveValue& result) {
        switch (objectClass.type) {
        case Type::Null:
            result = ArchiveValue::null();
            return 0;
        case Type::String:
            return readContent(object, m_string, result) && result.isString() ? 0 : Broken;
        case Type::Data:
            return readContent(object, m_data, result) && result.isData() ? 0 : Broken;
        case Type::Date:
            if (!readContent(object, m_time, result) || !result.isDouble())
                return Broken;
            result = ArchiveValue::date(result.number());
            return 0;
        case Type::Array:
            return readList(member(object, m_items), depth, result);
        case Type::Dictionary:
            return readPairs(object, objectClass, depth, result);
        default:
            return readFields(object, objectClass, depth, result);
        }
    }

    bool readContent(const Object& object, BinaryFile::Key& key, ArchiveValue& result) {
        const quint32 number = find(object, key);
        return readScalar(number, m_file.object(number), result);
    }

    quint64 uidAt(const Object& list, quint32 position) const { return m_file.uid(m_file.reference(list, position)); }

    int readList(const Object& list, int depth, ArchiveValue& result) {
        if (list.marker != Array)
            return Broken;
        return readArray(list.count, depth, result,
            [&](quint32 i, ArchiveValue& item) { return readUid(uidAt(list, i), depth + 1, item); });
    }

    /// A dictionary with an object among its keys is read as an object with the fields "NS.keys" and "NS.objects". Once
    /// written, these are lists of their own.
    int readLists(const Object& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        const int height = readFields(object, objectClass, depth, result);
        return result.value(KeysKey).isArray() && result.value(ItemsKey).isArray() ? height : Broken;
    }

    int readPairs(const Object& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        const Object keys = member(object, m_keys);
        const Object values = member(object, m_items);
        if (keys.marker == Uid)
            return readLists(object, objectClass, depth, result);
        if (keys.marker != Array || values.marker != Array || keys.count != values.count ||
            !(m_allowsText || keys.count == 0) || !enter(keys.count, depth))
            return Broken;
        ArchiveValue::Dictionary entries(keys.count);
        // Lists of dictionaries that all have the same keys are the rule.
        if (!m_file.areSame(keys, m_lastKeys)) {
            m_lastKeyTexts.resize(keys.count);
            m_lastKeys = {};
            for (quint32 i = 0; i < keys.count; ++i) {
                const quint64 uid = uidAt(keys, i);
                // Number 0 is no object, whatever text stands for it.
                const quint32 number = uid > 0 && uid < m_list.count ? numberOf(uid) : BinaryFile::NoObject;
                m_lastKeyTexts[i] = readText(number);
                if (!m_lastKeyTexts[i].isNull())
                    continue;
                leave(keys.count);
                return m_file.object(number).marker == Dictionary ? readLists(object, objectClass, depth, result)
                                                                  : Broken;
            }
            m_lastKeys = keys;
        }
        for (quint32 i = 0; i < keys.count; ++i)
            entries[i].key = m_lastKeyTexts[i];
        const int height =
            readEach(keys.count, [&](quint32 i) { return readUid(uidAt(values, i), depth + 1, entries[i].value); });
        std::construct_at(&result, std::move(entries));
        return height;
    }

    int readFields(const Object& object, const ClassEntry& objectClass, int depth, ArchiveValue& result) {
        if (!enter(object.count, depth))
            return Broken;
        ArchiveValue::Dictionary fields;
        fields.reserve(object.count);
        const int height = readEach(object.count, [&](quint32 i) {
            const quint32 number = m_file.reference(object, i);
            QString key = number == m_class.number ? ClassKey : readText(number);
            const bool isSpecial = !key.isEmpty() && key.at(0) == u'$';
            if (isSpecial && key == ClassKey)
                return 0;
            // A field's own name that begins with "$" was given another one.
            if (isSpecial && key.size() > 1 && key.at(1) == u'$')
                key.remove(0, 1);
            ArchiveEntry& field = fields.emplace_back();
            field.key = std::move(key);
            return field.key.isNull() ? Broken
                                      : read(m_file.reference(object, object.count + i), depth + 1, field.value);
        });
        std::construct_at(&result, ArchiveValue::object(objectClass.objectClass, std::move(fields)));
        return height;
    }

    /// Nothing for an object that has no class, or one that is not allowed.
    const ClassEntry* classOf(const Object& object) {
        const quint64 uid = m_file.uid(find(object, m_class));
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
        const quint32 name = find(entry, m_className);
        const quint32 listNumber = find(entry, m_classList);
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
    BinaryFile::Key m_class{ClassKey};
    BinaryFile::Key m_className{ClassNameKey};
    BinaryFile::Key m_classList{ClassListKey};
    BinaryFile::Key m_keys{KeysKey};
    BinaryFile::Key m_items{ItemsKey};
    BinaryFile::Key m_string{StringKey};
    BinaryFile::Key m_data{DataKey};
    BinaryFile::Key m_time{TimeKey};
    /// Of the last dictionary.
    Object m_lastKeys;
    std::vector<QString> m_lastKeyTexts;
    Places m_placesOfUids;
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
