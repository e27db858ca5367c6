#include "ArchiveNumbering.h"

#include "PropertyListLimits.h"
#include "ValueCount.h"

#include <array>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Type = ArchiveValue::Type;

struct Constant {
    QString text;
    quint64 identity = Identity::ofText(text, 0, Identity::Place::Constant);
};

const Constant NullText{u"$null"_s};
const Constant ClassKey{u"$class"_s};
const Constant ClassNameKey{u"$classname"_s};
const Constant ClassListKey{u"$classes"_s};
const Constant KeysKey{u"NS.keys"_s};
const Constant ObjectsKey{u"NS.objects"_s};
const Constant StringKey{u"NS.string"_s};
const Constant DataKey{u"NS.data"_s};
const Constant TimeKey{u"NS.time"_s};

/// The platform's class of a value, its mutable variant second.
using NativeClasses = std::array<ArchiveClass, 2>;

NativeClasses nativeClasses(const QString& name) {
    const QString plain = u"NS"_s + name;
    const QString changeable = u"NSMutable"_s + name;
    return {ArchiveClass{plain, {plain, u"NSObject"_s}}, ArchiveClass{changeable, {changeable, plain, u"NSObject"_s}}};
}

const ArchiveClass& nativeClassOf(const ArchiveValue& value) {
    static const NativeClasses text = nativeClasses(u"String"_s);
    static const NativeClasses data = nativeClasses(u"Data"_s);
    static const NativeClasses array = nativeClasses(u"Array"_s);
    static const NativeClasses dictionary = nativeClasses(u"Dictionary"_s);
    static const NativeClasses date = nativeClasses(u"Date"_s);
    static const NativeClasses null = nativeClasses(u"Null"_s);
    const NativeClasses& classes = value.isString() ? text
        : value.isData()                            ? data
        : value.isArray()                           ? array
        : value.isDictionary()                      ? dictionary
        : value.isDate()                            ? date
                                                    : null;
    return classes[value.isMutable() ? 1 : 0];
}

/// Class names of the platform's own containers are always one string; other long ones never are.
quint64 classNameIdentity(const QString& name) {
    static const QStringList containers = {u"NSDictionary"_s, u"NSMutableDictionary"_s, u"NSArray"_s,
        u"NSMutableArray"_s, u"NSString"_s, u"NSMutableString"_s, u"NSData"_s, u"NSMutableData"_s, u"NSSet"_s,
        u"NSMutableSet"_s, u"NSOrderedSet"_s, u"NSMutableOrderedSet"_s};
    return containers.contains(name) ? Identity::ofText(name, 0, Identity::Place::Constant)
                                     : Identity::ofHeldString(name);
}

quint64 fieldNameIdentity(const QString& name) {
    const bool isConstant = name.startsWith("NS."_L1) || name == ClassKey.text;
    return Identity::ofText(name, 0, isConstant ? Identity::Place::Constant : Identity::Place::FieldName);
}

ArchiveNumbering::Item textItem(const QString& text, quint64 identity) {
    return {.kind = ArchiveNumbering::Item::Kind::Text, .text = &text, .identity = identity};
}

/// A value that stands for itself.
ArchiveNumbering::Item scalarItem(const ArchiveValue& value, quint64 identity) {
    if (value.isString())
        return textItem(value.string(), identity);
    return {.kind = ArchiveNumbering::Item::Kind::Scalar, .value = &value, .identity = identity};
}

ArchiveNumbering::Item under(const Constant& key, ArchiveNumbering::Item item) {
    item.key = &key.text;
    item.keyIdentity = key.identity;
    return item;
}

} // namespace

bool ArchiveNumbering::run(const ArchiveValue& root) {
    m_entries.clear();
    m_items.clear();
    m_uids.clear();
    m_instances.clear();
    m_order.clear();
    m_classes.clear();
    m_texts.clear();
    m_entries.reserve(32);
    m_items.reserve(64);
    m_entries.push_back(textItem(NullText.text, NullText.identity));
    m_values = 1;
    m_isWithinLimits = true;
    m_rootUid = number(root, 0);
    return m_isWithinLimits && !m_order.isExhausted();
}

/// Room for @p entries in a container at @p depth.
bool ArchiveNumbering::enter(size_t entries, int depth) {
    m_values += entries;
    m_isWithinLimits = m_isWithinLimits && depth < PropertyListLimits::Depth && m_values <= PropertyListLimits::Objects;
    return m_isWithinLimits;
}

quint32 ArchiveNumbering::number(const ArchiveValue& value, int depth) {
    if (value.isNothing())
        return 0;
    const auto uid = static_cast<quint32>(m_entries.size());
    const quint64 identity = Identity::ofValue(value);
    if (identity != Identity::None) {
        const quint32 known = m_instances.findOrInsert(identity, uid);
        if (known != InstanceTable::None) {
            m_isWithinLimits = m_isWithinLimits && countValues(value, depth, m_values);
            return known;
        }
    }
    m_entries.emplace_back();
    const Item entry = entryOf(value, identity, depth);
    m_entries[uid] = entry;
    return uid;
}

ArchiveNumbering::Item ArchiveNumbering::entryOf(const ArchiveValue& value, quint64 identity, int depth) {
    switch (value.type()) {
    case Type::Null:
        return pairs({under(ClassKey, classItem(nativeClassOf(value)))});
    case Type::Date:
        return pairs({under(TimeKey, {.kind = Item::Kind::Seconds, .value = &value}),
            under(ClassKey, classItem(nativeClassOf(value)))});
    case Type::String:
        if (!value.isMutable())
            break;
        return pairs({under(ClassKey, classItem(nativeClassOf(value))),
            under(StringKey, textItem(value.string(), Identity::ofHeldString(value.string())))});
    case Type::Data:
        if (!value.isMutable())
            break;
        return pairs({under(DataKey, {.kind = Item::Kind::Scalar, .value = &value}),
            under(ClassKey, classItem(nativeClassOf(value)))});
    case Type::Array:
        return arrayEntry(value, depth);
    case Type::Dictionary:
        return dictionaryEntry(value, depth);
    case Type::Object:
        return objectEntry(value, depth);
    default:
        break;
    }
    return scalarItem(value, identity);
}

ArchiveNumbering::Item ArchiveNumbering::arrayEntry(const ArchiveValue& value, int depth) {
    if (!enter(value.array().size(), depth))
        return {};
    const Item uids = reserveUids(value.array().size());
    for (quint32 i = 0; i < uids.count; ++i) {
        const quint32 uid = number(value.array()[i], depth + 1);
        m_uids[uids.first + i] = uid;
    }
    return pairs({under(ObjectsKey, uids), under(ClassKey, classItem(nativeClassOf(value)))});
}

ArchiveNumbering::Item ArchiveNumbering::dictionaryEntry(const ArchiveValue& value, int depth) {
    if (!enter(value.dictionary().size(), depth))
        return {};
    const std::vector<quint32> order = m_order.ofKeys(value);
    const Item keys = reserveUids(order.size());
    const Item values = reserveUids(order.size());
    for (quint32 i = 0; i < keys.count; ++i)
        m_uids[keys.first + i] = numberKey(value.dictionary()[order[i]]);
    for (quint32 i = 0; i < values.count; ++i) {
        const quint32 uid = number(value.dictionary()[order[i]].value, depth + 1);
        m_uids[values.first + i] = uid;
    }
    return pairs({under(KeysKey, keys), under(ObjectsKey, values), under(ClassKey, classItem(nativeClassOf(value)))});
}

quint32 ArchiveNumbering::numberKey(const ArchiveEntry& entry) {
    const auto uid = static_cast<quint32>(m_entries.size());
    quint64 identity = Identity::ofText(entry.key, entry.keyInstance, Identity::Place::DictionaryKey);
    const quint32 known = m_instances.findOrInsert(identity, uid);
    if (known != InstanceTable::None) {
        if (*m_entries[known].text == entry.key)
            return known;
        identity = Identity::None; // another text of the same hash: rare enough to be written without sharing
    }
    m_entries.push_back(textItem(entry.key, identity));
    return uid;
}

ArchiveNumbering::Item ArchiveNumbering::objectEntry(const ArchiveValue& value, int depth) {
    if (!enter(value.dictionary().size(), depth))
        return {};
    // Fields are numbered as they were encoded, yet listed by their keys' order, "$class" among them.
    const std::vector<quint32> order = m_order.ofKeys(value);
    const ArchiveValue::Dictionary& fields = value.dictionary();
    const Item entry{
        .kind = Item::Kind::Pairs, .count = static_cast<quint32>(order.size()), .first = quint32(m_items.size())};
    m_items.resize(m_items.size() + order.size());
    std::vector<quint32> places(order.size());
    for (quint32 i = 0; i < order.size(); ++i)
        places[order[i]] = entry.first + i;
    for (size_t i = 0; i < fields.size(); ++i) {
        const QString* key = &fields[i].key;
        if (key->startsWith(u'$'))
            key = &m_texts.emplace_front(u'$' + *key);
        // Numbers alone stand in the field itself.
        Item item = fields[i].value.isNumber()
            ? scalarItem(fields[i].value, Identity::ofValue(fields[i].value))
            : Item{.kind = Item::Kind::Uid, .first = number(fields[i].value, depth + 1)};
        item.key = key;
        item.keyIdentity = fieldNameIdentity(*key);
        m_items[places[i]] = item;
    }
    m_items[places.back()] = under(ClassKey, classItem(value.objectClass()));
    return entry;
}

/// A class gets its entry after the first object of it has been numbered.
ArchiveNumbering::Item ArchiveNumbering::classItem(const ArchiveClass& objectClass) {
    const auto uid = static_cast<quint32>(m_entries.size());
    const auto known = m_classes.constFind(objectClass.name);
    if (known != m_classes.constEnd())
        return {.kind = Item::Kind::Uid, .first = *known};
    m_classes.insert(objectClass.name, uid);
    m_entries.emplace_back();
    const Item list{
        .kind = Item::Kind::Items, .count = quint32(objectClass.classes.size()), .first = quint32(m_items.size())};
    for (const QString& name : objectClass.classes)
        m_items.push_back(textItem(name, classNameIdentity(name)));
    const Item name = under(ClassNameKey, textItem(objectClass.name, classNameIdentity(objectClass.name)));
    m_entries[uid] = list.count > 0 ? pairs({name, under(ClassListKey, list)}) : pairs({name});
    return {.kind = Item::Kind::Uid, .first = uid};
}

ArchiveNumbering::Item ArchiveNumbering::pairs(std::initializer_list<Item> items) {
    const auto first = static_cast<quint32>(m_items.size());
    m_items.insert(m_items.end(), items);
    return {.kind = Item::Kind::Pairs, .count = static_cast<quint32>(items.size()), .first = first};
}

ArchiveNumbering::Item ArchiveNumbering::reserveUids(size_t count) {
    const auto first = static_cast<quint32>(m_uids.size());
    m_uids.resize(first + count);
    return {.kind = Item::Kind::Uids, .count = static_cast<quint32>(count), .first = first};
}

} // namespace Platform
