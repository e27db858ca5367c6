#include "KeyedArchiver.h"

#include "BinaryTable.h"
#include "KeyOrder.h"
#include "KeyedArchiveFormat.h"
#include "PropertyListLimits.h"

#include <QHash>

#include <list>
#include <span>

namespace Platform {

namespace {

using namespace KeyedArchiveFormat;
using Type = ArchiveValue::Type;

const QString NullName = u"$null"_s;
/// Objects of most archives.
constexpr size_t SmallArchive = 32;

/// Class names of the platform's own containers are always one string; other long ones never are.
ArchiveValue classNameValue(const QString& name) {
    static const QHash<QString, ArchiveValue> containers = [] {
        QHash<QString, ArchiveValue> values;
        for (const auto kind : {"String"_L1, "Data"_L1, "Array"_L1, "Dictionary"_L1, "Set"_L1, "OrderedSet"_L1}) {
            for (const QString& text : {NativePrefix + kind, MutablePrefix + kind})
                values.insert(text, ArchiveValue(text).asOneInstance());
        }
        return values;
    }();
    const auto known = name.startsWith(NativePrefix) ? containers.constFind(name) : containers.cend();
    return known == containers.cend() ? ArchiveValue::text(name) : *known;
}

const ArchiveClass& nativeClassOf(const ArchiveValue& value) {
    using Variants = std::array<ArchiveClass, 2>;
    static const auto classes = [] {
        std::array<Variants, static_cast<size_t>(Type::Object)> all;
        for (const auto& [type, kind] : NativeClasses) {
            const QString name = NativePrefix + kind;
            const QString changeable = MutablePrefix + kind;
            all[static_cast<size_t>(type)] = Variants{
                ArchiveClass{name, {name, u"NSObject"_s}}, ArchiveClass{changeable, {changeable, name, u"NSObject"_s}}};
        }
        return all;
    }();
    return classes[static_cast<size_t>(value.type())][value.isMutable() ? 1 : 0];
}

/// The object numbers, UIDs, of an archive, in the order in which the platform's archiver meets the objects.
struct Numbering {
    /// An object of the archive: a value, the key of a dictionary or a class.
    struct Entry {
        const ArchiveValue* value = nullptr;
        const QString* key = nullptr;
        const ArchiveClass* objectClass = nullptr;
        quint32 classUid = 0;
        /// The first of its UIDs: of the elements of an array, the fields of an object, 0 for those that stand there
        /// themselves, and of the keys and then the values of a dictionary in their order.
        size_t firstUid = 0;
    };

    quint32 next() const { return static_cast<quint32>(entries.size()); }

    quint32 number(const ArchiveValue& value) {
        const quint32 uid = value.isNothing() ? 0 : shared.numberOf(value, next());
        if (uid != next())
            return uid;
        size_t place = uids.size();
        entries.push_back({.value = &value, .firstUid = place});
        // What it consists of comes behind it, and its class last.
        if (value.isDictionary()) {
            const ArchiveValue::Dictionary& pairs = value.dictionary();
            const std::vector<quint32> indices = order.ofKeys(pairs);
            uids.resize(place + 2 * pairs.size());
            for (const quint32 i : indices)
                uids[place++] = numberKey(pairs[i]);
            for (const quint32 i : indices)
                uids[place++] = number(pairs[i].value);
        } else {
            uids.resize(place + value.array().size() + value.dictionary().size());
            for (const ArchiveValue& item : value.array())
                uids[place++] = number(item);
            // Numbers alone stand in the field itself.
            for (const ArchiveEntry& field : value.dictionary())
                uids[place++] = field.value.isNumber() ? 0 : number(field.value);
        }
        if (value.isObject())
            entries[uid].classUid = numberClass(value.objectClass());
        else if (value.isMutable() || value.isArray() || value.isDictionary() || value.isDate() || value.isNull())
            entries[uid].classUid = numberClass(nativeClassOf(value));
        return uid;
    }

    quint32 numberKey(const ArchiveEntry& pair) {
        const quint32 uid = shared.numberOfKey(pair.key, pair.keyInstance, next());
        if (uid == next())
            entries.push_back({.key = &pair.key});
        return uid;
    }

    quint32 numberClass(const ArchiveClass& objectClass) {
        const quint32 uid = classes.numberOfKey(objectClass.name, 0, next());
        if (uid == next())
            entries.push_back({.objectClass = &objectClass});
        return uid;
    }

    std::vector<Entry> entries{{.key = &NullName}};
    std::vector<quint32> uids;
    SharedObjects shared;
    SharedObjects classes;
    KeyOrder order;
};

/// Lays the objects of an archive out as a property list.
class Layout {
public:
    Layout(const Numbering& numbering, BinaryTable& table)
        : m_numbering(numbering), m_table(table), m_objectsOfUids(numbering.entries.size()) {}

    bool isExhausted() const { return m_order.isExhausted(); }

    void add(quint32 rootUid, const QString& rootKey) {
        // The root dictionary alone keeps this order.
        addPairs(pair(VersionKey, [&] { return m_table.addNew(Version); }),
            pair(ArchiverKey, [&] { return m_table.addNew(ArchiverName); }),
            pair(TopKey, [&] { return addPairs(pair(rootKey, [&] { return addUid(rootUid); })); }),
            pair(ObjectsKey, [&] { return addEach(m_numbering.entries, [&](const auto& e) { return add(e); }); }));
    }

private:
    template <typename Value>
    static std::pair<const QString&, Value> pair(const QString& key, Value value) {
        return {key, value};
    }

    /// A dictionary of what each function adds.
    template <typename... Values>
    quint32 addPairs(const std::pair<const QString&, Values>&... pairs) {
        const auto object = m_table.beginDictionary(sizeof...(pairs));
        size_t place = 0;
        (m_table.setReference(object, place++, m_table.addKey(pairs.first)), ...);
        (m_table.setReference(object, place++, pairs.second()), ...);
        return object.number;
    }

    template <typename List, typename AddOne>
    quint32 addEach(const List& list, AddOne addOne) {
        const auto object = m_table.beginArray(static_cast<size_t>(list.size()));
        size_t place = 0;
        for (const auto& one : list)
            m_table.setReference(object, place++, addOne(one));
        return object.number;
    }

    /// Like a boolean: a further one goes to the table, too.
    quint32 addUid(quint32 uid) {
        const quint32 object = m_table.addUid(uid);
        quint32& first = m_objectsOfUids[uid];
        return first == 0 ? first = object : first;
    }

    quint32 addUids(size_t first, size_t count) {
        return addEach(std::span(m_numbering.uids).subspan(first, count), [&](quint32 uid) { return addUid(uid); });
    }

    /// The keys stand in their hash order.
    quint32 add(const Numbering::Entry& entry) {
        if (entry.key)
            return m_table.add(ArchiveValue::text(*entry.key));
        if (entry.objectClass)
            return addClass(*entry.objectClass);
        const ArchiveValue& value = *entry.value;
        if (entry.classUid == 0)
            return m_table.add(value);
        const auto classPair = pair(ClassKey, [&] { return addUid(entry.classUid); });
        const size_t count = value.array().size() + value.dictionary().size();
        const auto items = pair(ItemsKey, [&] { return addUids(entry.firstUid + value.dictionary().size(), count); });
        switch (value.type()) {
        case Type::String:
            return addPairs(
                classPair, pair(StringKey, [&] { return m_table.add(ArchiveValue::text(value.string())); }));
        case Type::Data:
            return addPairs(pair(DataKey, [&] { return m_table.addNew(value); }), classPair);
        case Type::Date:
            return addPairs(pair(TimeKey, [&] { return m_table.addNew(value.number()); }), classPair);
        case Type::Array:
            return addPairs(items, classPair);
        case Type::Dictionary:
            return addPairs(pair(KeysKey, [&] { return addUids(entry.firstUid, count); }), items, classPair);
        case Type::Object:
            return addFields(entry);
        default:
            return addPairs(classPair);
        }
    }

    quint32 addFields(const Numbering::Entry& entry) {
        const ArchiveValue::Dictionary& fields = entry.value->dictionary();
        std::vector<const QString*> keys;
        keys.reserve(fields.size() + 1);
        // A field's own name that begins with "$" is given another one.
        for (const ArchiveEntry& field : fields)
            keys.push_back(field.key.startsWith(u'$') ? &m_renamed.emplace_back(u'$' + field.key) : &field.key);
        keys.push_back(&ClassKey);
        std::vector<quint64> hashes;
        hashes.reserve(keys.size());
        for (const QString* key : keys)
            hashes.push_back(KeyOrder::hash(*key));
        const std::vector<quint32> order = m_order.ofHashes(hashes);
        const auto object = m_table.beginDictionary(order.size());
        size_t place = 0;
        for (const quint32 i : order)
            m_table.setReference(object, place++, m_table.addKey(*keys[i]));
        for (const quint32 i : order) {
            const bool isInline = i < fields.size() && fields[i].value.isNumber();
            m_table.setReference(object, place++,
                isInline ? m_table.add(fields[i].value)
                         : addUid(i < fields.size() ? m_numbering.uids[entry.firstUid + i] : entry.classUid));
        }
        return object.number;
    }

    quint32 addClass(const ArchiveClass& objectClass) {
        const auto addName = [&](const QString& name) { return m_table.add(classNameValue(name)); };
        const auto name = pair(ClassNameKey, [&] { return addName(objectClass.name); });
        const auto list = pair(ClassListKey, [&] { return addEach(objectClass.classes, addName); });
        return objectClass.classes.isEmpty() ? addPairs(name) : addPairs(name, list);
    }

    const Numbering& m_numbering;
    BinaryTable& m_table;
    std::vector<quint32> m_objectsOfUids;
    /// Which stay where they are, as the table wants it.
    std::list<QString> m_renamed;
    KeyOrder m_order;
};

} // namespace

QByteArray KeyedArchiver::archivedData(const ArchiveValue& root, const QString& rootKey) {
    size_t values = 1;
    if (!PropertyListLimits::count(root, 0, values))
        return {};
    Numbering numbering;
    numbering.entries.reserve(SmallArchive);
    numbering.uids.reserve(SmallArchive);
    const quint32 rootUid = numbering.number(root);
    bool isExhausted = false;
    const size_t objects = SmallArchive + 2 * numbering.entries.size() + numbering.uids.size();
    const QByteArray file = BinaryTable::file(objects, [&](BinaryTable& table) {
        Layout layout(numbering, table);
        layout.add(rootUid, rootKey);
        isExhausted = numbering.order.isExhausted() || layout.isExhausted();
    });
    return isExhausted || values > PropertyListLimits::values(file.size()) ? QByteArray() : file;
}

} // namespace Platform
