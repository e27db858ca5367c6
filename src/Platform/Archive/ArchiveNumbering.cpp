#include "ArchiveNumbering.h"

#include "PropertyListLimits.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Storage = ArchiveValue::Storage;

/// A key of the archiver's own.
struct Constant {
    QString text;
    Identity identity = ArchiveNumbering::constantIdentity(text);
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

const QString NativeNames[][2] = {
    {u"NSString"_s, u"NSMutableString"_s},
    {u"NSData"_s, u"NSMutableData"_s},
    {u"NSDate"_s, u"NSDate"_s},
    {u"NSNull"_s, u"NSNull"_s},
    {u"NSArray"_s, u"NSMutableArray"_s},
    {u"NSDictionary"_s, u"NSMutableDictionary"_s},
};

/// Class names of the platform's own containers are always one string; other long ones never are.
Identity classNameIdentity(const QString& name) {
    static const QStringList containers = {u"NSDictionary"_s, u"NSMutableDictionary"_s, u"NSArray"_s,
        u"NSMutableArray"_s, u"NSString"_s, u"NSMutableString"_s, u"NSData"_s, u"NSMutableData"_s, u"NSSet"_s,
        u"NSMutableSet"_s, u"NSOrderedSet"_s, u"NSMutableOrderedSet"_s};
    if (const quint64 held = Identity::ofHeldString(name))
        return {0, held};
    return containers.contains(name) ? ArchiveNumbering::constantIdentity(name) : Identity();
}

Identity fieldNameIdentity(const QString& name, quint64 instance) {
    const bool isConstant = name.startsWith("NS."_L1) || name == ClassKey.text;
    return Identity::ofText(name, instance, isConstant ? Identity::Place::Constant : Identity::Place::FieldName);
}

bool isStoredInline(const ArchiveValue& value) {
    return value.storage() == Storage::Inline || (value.storage() == Storage::Usual && value.isNumber());
}

} // namespace

bool ArchiveNumbering::run(const ArchiveValue& root) {
    m_isWithinLimits = true;
    m_values = 0;
    m_height = 0;
    m_entries.clear();
    m_items.clear();
    m_uids.clear();
    m_instances.clear();
    m_nativeClasses.fill(0);
    m_classes.clear();
    m_texts.clear();
    m_entries.reserve(32);
    m_items.reserve(64);
    m_entries.push_back({.text = &NullText.text, .identity = NullText.identity});
    m_rootUid = number(root, 0);
    return m_isWithinLimits && m_entries.size() <= PropertyListLimits::Objects;
}

bool ArchiveNumbering::count(quint32 values) {
    m_values += values;
    m_isWithinLimits = m_isWithinLimits && m_values <= PropertyListLimits::Objects;
    return m_isWithinLimits;
}

bool ArchiveNumbering::enter(int depth) {
    m_isWithinLimits = m_isWithinLimits && depth < PropertyListLimits::Depth;
    return m_isWithinLimits;
}

quint32 ArchiveNumbering::number(const ArchiveValue& value, int depth) {
    if (!count(1) || value.isNothing())
        return 0;
    const auto uid = static_cast<quint32>(m_entries.size());
    if (const Identity identity = Identity::ofValue(value); identity.isShared()) {
        const quint32 known = m_instances.findOrInsert(identity, uid);
        if (known != InstanceTable::None) {
            const Entry& entry = m_entries[known];
            m_isWithinLimits = m_isWithinLimits && depth + entry.height <= PropertyListLimits::Depth;
            count(entry.values);
            m_height = std::max(m_height, entry.height);
            return known;
        }
    }
    m_entries.emplace_back();
    const quint32 before = m_values;
    const int outerHeight = std::exchange(m_height, 0);
    fill(uid, value, depth);
    m_entries[uid].values = m_values - before;
    m_entries[uid].height = m_height;
    m_height = std::max(m_height, outerHeight);
    return uid;
}

void ArchiveNumbering::fill(quint32 uid, const ArchiveValue& value, int depth) {
    Item item{.kind = Item::Kind::Value, .value = &value};
    switch (value.type()) {
    case ArchiveValue::Type::Null:
        reserveItems(uid, 1);
        setItem(m_entries[uid].firstItem, ClassKey.text, ClassKey.identity, classItem(Null, false));
        return;
    case ArchiveValue::Type::Date:
        item.kind = Item::Kind::Seconds;
        return fillSingle(uid, TimeKey.text, item, Date, false);
    case ArchiveValue::Type::String:
        if (!value.isMutable())
            break;
        item = {
            .kind = Item::Kind::Text, .text = &value.string(), .identity = {0, Identity::ofHeldString(value.string())}};
        return fillSingle(uid, StringKey.text, item, String, true);
    case ArchiveValue::Type::Data:
        if (!value.isMutable())
            break;
        return fillSingle(uid, DataKey.text, item, Data, false);
    case ArchiveValue::Type::Array:
        return fillArray(uid, value, depth);
    case ArchiveValue::Type::Dictionary:
        return fillDictionary(uid, value, depth);
    case ArchiveValue::Type::Object:
        return fillObject(uid, value, depth);
    default:
        break;
    }
    m_entries[uid].value = &value;
    m_entries[uid].identity = Identity::ofValue(value);
}

void ArchiveNumbering::fillSingle(quint32 uid, const QString& key, Item item, Native native, bool isClassFirst) {
    const quint32 place = reserveItems(uid, 2);
    setItem(place + (isClassFirst ? 1 : 0), key, constantIdentity(key), item);
    setItem(place + (isClassFirst ? 0 : 1), ClassKey.text, ClassKey.identity, classItem(native, native != Date));
}

void ArchiveNumbering::fillArray(quint32 uid, const ArchiveValue& value, int depth) {
    if (!enter(depth))
        return;
    const quint32 place = reserveItems(uid, 2);
    const auto count = static_cast<quint32>(value.array().size());
    const auto first = static_cast<quint32>(m_uids.size());
    m_uids.resize(first + count);
    for (quint32 i = 0; i < count && m_isWithinLimits; ++i)
        m_uids[first + i] = number(value.array()[i], depth + 1);
    ++m_height;
    setItem(place, ObjectsKey.text, ObjectsKey.identity, {.kind = Item::Kind::Uids, .count = count, .first = first});
    setItem(place + 1, ClassKey.text, ClassKey.identity, classItem(Array, value.isMutable()));
}

void ArchiveNumbering::fillDictionary(quint32 uid, const ArchiveValue& value, int depth) {
    std::vector<quint32> order;
    m_isWithinLimits = m_isWithinLimits && m_order.arrange(value, order);
    if (!enter(depth))
        return;
    const ArchiveValue::Dictionary& entries = value.dictionary();
    const quint32 place = reserveItems(uid, 3);
    const auto count = static_cast<quint32>(entries.size());
    const auto first = static_cast<quint32>(m_uids.size());
    m_uids.resize(first + count * 2);
    for (quint32 i = 0; i < count; ++i)
        m_uids[first + i] = numberKey(entries[order[i]]);
    for (quint32 i = 0; i < count && m_isWithinLimits; ++i)
        m_uids[first + count + i] = number(entries[order[i]].value, depth + 1);
    ++m_height;
    setItem(place, KeysKey.text, KeysKey.identity, {.kind = Item::Kind::Uids, .count = count, .first = first});
    setItem(place + 1, ObjectsKey.text, ObjectsKey.identity,
        {.kind = Item::Kind::Uids, .count = count, .first = first + count});
    setItem(place + 2, ClassKey.text, ClassKey.identity, classItem(Dictionary, value.isMutable()));
}

quint32 ArchiveNumbering::numberKey(const ArchiveEntry& entry) {
    const auto uid = static_cast<quint32>(m_entries.size());
    Identity identity = Identity::ofText(entry.key, entry.keyInstance, Identity::Place::DictionaryKey);
    const quint32 known = m_instances.findOrInsert(identity, uid);
    if (known != InstanceTable::None) {
        const Entry& other = m_entries[known];
        if ((other.text && *other.text == entry.key) || (other.value && other.value->string() == entry.key))
            return known;
        identity = {}; // another text of the same hash: rare enough to be written without sharing
    }
    m_entries.push_back({.text = &entry.key, .identity = identity});
    return uid;
}

void ArchiveNumbering::fillObject(quint32 uid, const ArchiveValue& value, int depth) {
    std::vector<quint32> order;
    m_isWithinLimits = m_isWithinLimits && m_order.arrangeFields(value, order);
    if (!enter(depth))
        return;
    const ArchiveValue::Dictionary& fields = value.dictionary();
    const auto count = static_cast<quint32>(fields.size());
    const quint32 place = reserveItems(uid, count + 1);
    std::vector<quint32> places(count + 1);
    for (quint32 i = 0; i <= count; ++i)
        places[order[i]] = place + i;
    for (quint32 i = 0; i < count && m_isWithinLimits; ++i) {
        const QString* key = &fields[i].key;
        if (key->startsWith(u'$'))
            key = &m_texts.emplace_front(u'$' + *key);
        Item item = fieldItem(fields[i].value, depth + 1);
        item.key = key;
        item.keyIdentity = fieldNameIdentity(*key, fields[i].keyInstance);
        m_items[places[i]] = item;
    }
    ++m_height;
    setItem(places[count], ClassKey.text, ClassKey.identity, classItem(value.className(), value.classes()));
}

ArchiveNumbering::Item ArchiveNumbering::fieldItem(const ArchiveValue& value, int depth) {
    if (!isStoredInline(value))
        return {.kind = Item::Kind::Uid, .first = number(value, depth)};
    count(1);
    if (value.isArray())
        return inlineList(value, depth);
    if (value.isDictionary())
        return inlineMap(value, depth);
    return {.kind = Item::Kind::Value, .value = &value, .identity = Identity::ofValue(value)};
}

ArchiveNumbering::Item ArchiveNumbering::inlineList(const ArchiveValue& value, int depth) {
    const auto count = static_cast<quint32>(value.array().size());
    const auto first = static_cast<quint32>(m_items.size());
    if (!enter(depth))
        return {};
    m_items.resize(first + count);
    for (quint32 i = 0; i < count && m_isWithinLimits; ++i) {
        const ArchiveValue& item = value.array()[i];
        const Item made = item.storage() == Storage::Inline
            ? fieldItem(item, depth + 1)
            : Item{.kind = Item::Kind::Uid, .first = number(item, depth + 1)};
        m_items[first + i] = made;
    }
    ++m_height;
    return {.kind = Item::Kind::List, .count = count, .first = first};
}

ArchiveNumbering::Item ArchiveNumbering::inlineMap(const ArchiveValue& value, int depth) {
    const ArchiveValue::Dictionary& entries = value.dictionary();
    const auto count = static_cast<quint32>(entries.size());
    const auto first = static_cast<quint32>(m_items.size());
    std::vector<quint32> order;
    m_isWithinLimits = m_isWithinLimits && m_order.arrange(value, order);
    if (!enter(depth))
        return {};
    m_items.resize(first + count);
    for (quint32 i = 0; i < count && m_isWithinLimits; ++i) {
        const ArchiveEntry& entry = entries[order[i]];
        Item item = entry.value.storage() == Storage::Inline
            ? fieldItem(entry.value, depth + 1)
            : Item{.kind = Item::Kind::Uid, .first = number(entry.value, depth + 1)};
        item.key = &entry.key;
        item.keyIdentity = Identity::ofText(entry.key, entry.keyInstance, Identity::Place::DictionaryKey);
        m_items[first + i] = item;
    }
    ++m_height;
    return {.kind = Item::Kind::Map, .count = count, .first = first};
}

quint32 ArchiveNumbering::reserveItems(quint32 uid, quint32 count) {
    const auto first = static_cast<quint32>(m_items.size());
    m_items.resize(first + count);
    m_entries[uid].firstItem = first;
    m_entries[uid].itemCount = count;
    return first;
}

void ArchiveNumbering::setItem(quint32 place, const QString& key, const Identity& identity, Item item) {
    item.key = &key;
    item.keyIdentity = identity;
    m_items[place] = item;
}

ArchiveNumbering::Item ArchiveNumbering::classItem(Native native, bool isMutable) {
    quint32& uid = m_nativeClasses[native * 2u + (isMutable ? 1 : 0)];
    if (uid == 0) {
        QStringList classes{NativeNames[native][0], u"NSObject"_s};
        if (isMutable)
            classes.prepend(NativeNames[native][1]);
        uid = classItem(classes[0], classes).first;
    }
    return {.kind = Item::Kind::Uid, .first = uid};
}

/// A class gets its entry after the first object of it has been numbered.
ArchiveNumbering::Item ArchiveNumbering::classItem(const QString& name, const QStringList& classes) {
    const auto uid = static_cast<quint32>(m_entries.size());
    const auto known = m_classes.constFind(name);
    if (known != m_classes.constEnd())
        return {.kind = Item::Kind::Uid, .first = *known};
    m_classes.insert(name, uid);
    m_entries.emplace_back();
    const quint32 place = reserveItems(uid, classes.isEmpty() ? 1 : 2);
    const auto textItem = [this](const QString& text) {
        return Item{
            .kind = Item::Kind::Text, .text = &m_texts.emplace_front(text), .identity = classNameIdentity(text)};
    };
    setItem(place, ClassNameKey.text, ClassNameKey.identity, textItem(name));
    if (!classes.isEmpty()) {
        const auto first = static_cast<quint32>(m_items.size());
        for (const QString& one : classes)
            m_items.push_back(textItem(one));
        setItem(place + 1, ClassListKey.text, ClassListKey.identity,
            {.kind = Item::Kind::List, .count = static_cast<quint32>(classes.size()), .first = first});
    }
    return {.kind = Item::Kind::Uid, .first = uid};
}

} // namespace Platform
