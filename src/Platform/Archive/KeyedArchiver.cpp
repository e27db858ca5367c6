#include "KeyedArchiver.h"

#include "BinaryTable.h"
#include "KeyedArchiveFormat.h"
#include "KnownKeys.h"
#include "PropertyListLimits.h"
#include "ValueCount.h"

#include <QHash>
#include <QVarLengthArray>

#include <span>

namespace Platform {

namespace {

using namespace KeyedArchiveFormat;
using Type = ArchiveValue::Type;

/// Class names of the platform's own containers are always one string; other long ones never are. Null for the others.
const ArchiveValue* containerName(const QString& name) {
    static const QHash<QString, ArchiveValue> containers = [] {
        QHash<QString, ArchiveValue> values;
        for (const auto kind : {"String"_L1, "Data"_L1, "Array"_L1, "Dictionary"_L1, "Set"_L1, "OrderedSet"_L1}) {
            for (const QString& text : {NativePrefix + kind, MutablePrefix + kind})
                values.insert(text, ArchiveValue(text).asOneInstance());
        }
        return values;
    }();
    const auto known = name.startsWith(NativePrefix) ? containers.constFind(name) : containers.cend();
    return known == containers.cend() ? nullptr : &*known;
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
class Numbering {
public:
    /// An object of the archive: a value, the key of a dictionary or a class.
    struct Entry {
        const ArchiveValue* value = nullptr;
        const QString* key = nullptr;
        const ArchiveClass* objectClass = nullptr;
        quint32 classUid = 0;
        /// The first of its UIDs: of the elements of an array, the fields of an object, 0 for those that stand there
        /// themselves, and of the keys and then the values of a dictionary in their order.
        size_t first = 0;
    };

    explicit Numbering(const ArchiveValue& root) {
        m_uids.reserve(SmallArchive);
        static const QString null = u"$null"_s;
        m_entries.push_back({.key = &null});
        m_root = number(root);
    }

    quint32 root() const { return m_root; }
    std::span<const Entry> entries() const { return m_entries; }
    const quint32* uids(const Entry& entry) const { return m_uids.data() + entry.first; }
    bool isExhausted() const { return m_keys.isExhausted(); }
    /// Entries of the property list's table, roughly.
    size_t probableObjects() const { return SmallArchive + 2 * entries().size() + m_uids.size(); }

private:
    static constexpr qsizetype SmallArchive = 32;

    quint32 next() const { return static_cast<quint32>(m_entries.size()); }

    quint32 number(const ArchiveValue& value) {
        if (value.isNothing())
            return 0;
        const quint32 uid = m_shared.numberOf(value, next());
        if (uid != next())
            return uid;
        m_entries.push_back({.value = &value, .first = m_uids.size()});
        // What it consists of comes behind it, and its class last.
        if (value.isArray())
            numberItems(value.array());
        else if (value.isDictionary())
            numberPairs(value.dictionary());
        else if (value.isObject())
            numberFields(value.dictionary());
        if (value.isObject())
            m_entries[uid].classUid = numberClass(value.objectClass());
        else if (value.isMutable() || value.isArray() || value.isDictionary() || value.isDate() || value.isNull())
            m_entries[uid].classUid = numberClass(nativeClassOf(value));
        return uid;
    }

    /// Room for UIDs, the place of the first.
    size_t reserve(size_t count) {
        m_uids.resize(m_uids.size() + count);
        return m_uids.size() - count;
    }

    void numberItems(const ArchiveValue::Array& items) {
        size_t place = reserve(items.size());
        for (const ArchiveValue& item : items) {
            const quint32 uid = number(item);
            m_uids[place++] = uid;
        }
    }

    void numberPairs(const ArchiveValue::Dictionary& pairs) {
        size_t place = reserve(2 * pairs.size());
        const auto keys = m_keys.of(pairs);
        for (size_t i = keys->numbers.size(); i < pairs.size(); ++i)
            keys->numbers.push_back(numberKey(pairs[keys->order[i]]));
        for (const quint32 uid : keys->numbers)
            m_uids[place++] = uid;
        for (const quint32 i : keys->order) {
            const quint32 uid = number(pairs[i].value);
            m_uids[place++] = uid;
        }
    }

    quint32 numberKey(const ArchiveEntry& pair) {
        const quint32 uid = m_shared.numberOfKey(pair.key, pair.keyInstance, next());
        if (uid == next())
            m_entries.push_back({.key = &pair.key});
        return uid;
    }

    void numberFields(const ArchiveValue::Dictionary& fields) {
        size_t place = reserve(fields.size());
        for (const ArchiveEntry& field : fields) {
            // Numbers alone stand in the field itself.
            const quint32 uid = field.value.isNumber() ? 0 : number(field.value);
            m_uids[place++] = uid;
        }
    }

    quint32 numberClass(const ArchiveClass& objectClass) {
        if (&objectClass != m_lastClass) {
            m_lastClass = &objectClass;
            m_lastClassUid = m_shared.numberOfClass(objectClass.name, next());
            if (m_lastClassUid == next())
                m_entries.push_back({.objectClass = &objectClass});
        }
        return m_lastClassUid;
    }

    QVarLengthArray<Entry, SmallArchive> m_entries;
    std::vector<quint32> m_uids;
    quint32 m_root = 0;
    SharedObjects m_shared;
    KnownKeys m_keys;
    const ArchiveClass* m_lastClass = nullptr;
    quint32 m_lastClassUid = 0;
};

/// Lays the objects of an archive out as a property list.
class Layout {
public:
    Layout(const Numbering& numbering, BinaryTable& table)
        : m_numbering(numbering), m_table(table), m_objectsOfUids(numbering.entries().size()) {}

    bool isExhausted() const { return m_keys.isExhausted(); }

    void add(const QString& rootKey) {
        // The root dictionary alone keeps this order.
        Key version{VersionKey};
        Key archiver{ArchiverKey};
        Key top{TopKey};
        Key objects{ObjectsKey};
        const auto root = begin({&version, &archiver, &top, &objects});
        m_table.setReference(root, 4, m_table.addNew(Version));
        m_table.setReference(root, 5, m_table.addNew(ArchiverName));
        Key key{rootKey};
        const auto topObject = begin({&key});
        m_table.setReference(topObject, 1, addUid(m_numbering.root()));
        m_table.setReference(root, 6, topObject.number);
        const auto list = m_table.beginArray(m_numbering.entries().size());
        for (size_t i = 0; i < m_numbering.entries().size() && m_table.isWhole(); ++i)
            m_table.setReference(list, i, addEntry(m_numbering.entries()[i]));
        m_table.setReference(root, 7, list.number);
    }

private:
    using Container = BinaryTable::Container;

    struct Key {
        const QString& text;
        /// 0 before it has one.
        quint32 object = 0;
    };

    /// A dictionary that has its keys.
    Container begin(std::initializer_list<Key*> keys) {
        const auto object = m_table.beginDictionary(keys.size());
        size_t i = 0;
        for (Key* key : keys) {
            if (key->object == 0)
                key->object = m_table.addKey(key->text);
            m_table.setReference(object, i++, key->object);
        }
        return object;
    }

    /// Like a boolean: a further one goes to the table, too.
    quint32 addUid(quint32 uid) {
        const quint32 object = m_table.addUid(uid);
        quint32& first = m_objectsOfUids[uid];
        if (first == 0)
            first = object;
        return first;
    }

    quint32 addUids(const quint32* uids, size_t count) {
        const auto list = m_table.beginArray(count);
        for (size_t i = 0; i < count; ++i)
            m_table.setReference(list, i, addUid(uids[i]));
        return list.number;
    }

    quint32 addEntry(const Numbering::Entry& entry) {
        if (entry.key)
            return m_table.addText(*entry.key);
        if (entry.objectClass)
            return addClass(*entry.objectClass);
        if (entry.value->isObject())
            return addFields(entry);
        return entry.classUid == 0 ? m_table.add(*entry.value) : addNative(entry);
    }

    /// The keys of each stand in their hash order.
    quint32 addNative(const Numbering::Entry& entry) {
        const ArchiveValue& value = *entry.value;
        const quint32* uids = m_numbering.uids(entry);
        Container object{};
        switch (value.type()) {
        case Type::String: {
            object = begin({&m_class, &m_string});
            m_table.setReference(object, 2, addUid(entry.classUid));
            m_table.setReference(object, 3, m_table.addText(value.string()));
            return object.number;
        }
        case Type::Data:
            object = begin({&m_data, &m_class});
            m_table.setReference(object, 2, m_table.addNew(value));
            break;
        case Type::Date:
            object = begin({&m_time, &m_class});
            m_table.setReference(object, 2, m_table.addNew(value.number()));
            break;
        case Type::Array:
            object = begin({&m_items, &m_class});
            m_table.setReference(object, 2, addUids(uids, value.array().size()));
            break;
        case Type::Dictionary: {
            const size_t count = value.dictionary().size();
            object = begin({&m_keysKey, &m_items, &m_class});
            m_table.setReference(object, 3, addUids(uids, count));
            m_table.setReference(object, 4, addUids(uids + count, count));
            m_table.setReference(object, 5, addUid(entry.classUid));
            return object.number;
        }
        default:
            object = begin({&m_class});
            m_table.setReference(object, 1, addUid(entry.classUid));
            return object.number;
        }
        m_table.setReference(object, 3, addUid(entry.classUid));
        return object.number;
    }

    quint32 addFields(const Numbering::Entry& entry) {
        const ArchiveValue::Dictionary& fields = entry.value->dictionary();
        const quint32* uids = m_numbering.uids(entry);
        const auto keys = m_keys.ofFields(fields);
        const size_t count = fields.size() + 1;
        const auto object = m_table.beginDictionary(count);
        for (size_t i = keys->numbers.size(); i < count; ++i) {
            const quint32 field = keys->order[i];
            keys->numbers.push_back(
                m_table.addKey(field < fields.size() ? KnownKeys::fieldKey(fields[field].key) : ClassKey));
        }
        for (size_t i = 0; i < count; ++i) {
            m_table.setReference(object, i, keys->numbers[i]);
        }
        for (size_t i = 0; i < count; ++i) {
            const quint32 field = keys->order[i];
            const bool isInline = field < fields.size() && fields[field].value.isNumber();
            m_table.setReference(object, count + i,
                isInline ? m_table.add(fields[field].value)
                         : addUid(field < fields.size() ? uids[field] : entry.classUid));
        }
        return object.number;
    }

    quint32 addClass(const ArchiveClass& objectClass) {
        const QStringList& names = objectClass.classes;
        const auto object = names.isEmpty() ? begin({&m_className}) : begin({&m_className, &m_classList});
        m_table.setReference(object, names.isEmpty() ? 1 : 2, addClassName(objectClass.name));
        if (names.isEmpty())
            return object.number;
        const auto list = m_table.beginArray(static_cast<size_t>(names.size()));
        for (size_t i = 0; i < static_cast<size_t>(names.size()); ++i)
            m_table.setReference(list, i, addClassName(names[static_cast<qsizetype>(i)]));
        m_table.setReference(object, 3, list.number);
        return object.number;
    }

    quint32 addClassName(const QString& name) {
        const ArchiveValue* container = containerName(name);
        return container ? m_table.add(*container) : m_table.addText(name);
    }

    const Numbering& m_numbering;
    BinaryTable& m_table;
    std::vector<quint32> m_objectsOfUids;
    KnownKeys m_keys;
    Key m_class{ClassKey};
    Key m_className{ClassNameKey};
    Key m_classList{ClassListKey};
    Key m_keysKey{KeysKey};
    Key m_items{ItemsKey};
    Key m_string{StringKey};
    Key m_data{DataKey};
    Key m_time{TimeKey};
};

} // namespace

QByteArray KeyedArchiver::archivedData(const ArchiveValue& root, const QString& rootKey) {
    size_t values = 1;
    if (!countValues(root, 0, values))
        return {};
    const Numbering numbering(root);
    bool isExhausted = numbering.isExhausted();
    const QByteArray file =
        isExhausted ? QByteArray() : BinaryTable::file(numbering.probableObjects(), [&](BinaryTable& table) {
            Layout layout(numbering, table);
            layout.add(rootKey);
            isExhausted = layout.isExhausted();
        });
    return isExhausted || values > PropertyListLimits::values(file.size()) ? QByteArray() : file;
}

} // namespace Platform
