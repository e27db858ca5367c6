#include "KeyedArchiver.h"

#include "BinaryFormat.h"
#include "KeyOrder.h"
#include "KeyedArchiveFormat.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"
#include "SharedObjects.h"
#include "ValueCount.h"

#include <map>

namespace Platform {

namespace {

using namespace KeyedArchiveFormat;
using Pairs = ArchiveValue::Dictionary;

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
    const auto known = containers.constFind(name);
    return known == containers.cend() ? ArchiveValue::text(name) : *known;
}

const ArchiveClass& nativeClassOf(const ArchiveValue& value) {
    static const std::map<std::pair<ArchiveValue::Type, bool>, ArchiveClass> classes = [] {
        std::map<std::pair<ArchiveValue::Type, bool>, ArchiveClass> all;
        for (const auto& [type, kind] : NativeClasses) {
            const QString name = NativePrefix + kind;
            const QString changeable = MutablePrefix + kind;
            all[{type, false}] = {name, {name, u"NSObject"_s}};
            all[{type, true}] = {changeable, {changeable, name, u"NSObject"_s}};
        }
        return all;
    }();
    return classes.at({value.type(), value.isMutable()});
}

/// Numbers all objects below a root in the order in which the platform's archiver meets them, and lists what each one
/// consists of.
class Archiver {
public:
    QByteArray archive(const ArchiveValue& root, const QString& rootKey) {
        size_t values = 1;
        if (!countValues(root, 0, values))
            return {};
        append(u"$null"_s);
        const ArchiveValue top = Pairs{{rootKey, uid(root)}};
        if (m_order.isExhausted())
            return {};
        const QByteArray bytes = PropertyList::binaryData(Pairs{{VersionKey, Version}, {ArchiverKey, ArchiverName},
                                                              {TopKey, top}, {ObjectsKey, std::move(m_objects)}},
            PropertyList::RootKeys::AsInserted);
        return values <= PropertyListLimits::values(bytes.size()) ? bytes : QByteArray();
    }

private:
    quint32 next() const { return static_cast<quint32>(m_objects.size()); }

    /// The reference to a new object.
    const ArchiveValue& append(ArchiveValue object) {
        m_uids.push_back(BinaryFormat::uidValue(next()));
        m_objects.push_back(std::move(object));
        return m_uids.back();
    }

    ArchiveValue uid(const ArchiveValue& value) {
        if (value.isNothing())
            return m_uids[0];
        const quint32 number = m_shared.numberOf(value, next());
        if (number == next()) {
            append({}); // what it consists of comes behind it
            ArchiveValue entry = entryOf(value);
            m_objects[number] = std::move(entry);
        }
        return m_uids[number];
    }

    ArchiveValue keyUid(const ArchiveEntry& pair) {
        const quint32 number = m_shared.numberOfKey(pair, next());
        return number == next() ? append(ArchiveValue::text(pair.key)) : m_uids[number];
    }

    ArchiveValue entryOf(const ArchiveValue& value) {
        switch (value.type()) {
        case ArchiveValue::Type::Null:
            return entry({}, nativeClassOf(value));
        case ArchiveValue::Type::Date:
            return entry({{TimeKey, value.number()}}, nativeClassOf(value));
        case ArchiveValue::Type::Array:
            return arrayEntry(value);
        case ArchiveValue::Type::Dictionary:
            return dictionaryEntry(value);
        case ArchiveValue::Type::Object:
            return objectEntry(value);
        case ArchiveValue::Type::String:
            return value.isMutable() ? entry({{StringKey, ArchiveValue::text(value.string())}}, nativeClassOf(value))
                                     : value;
        case ArchiveValue::Type::Data:
            return value.isMutable() ? entry({{DataKey, value.data()}}, nativeClassOf(value)) : value;
        default:
            return value;
        }
    }

    /// A class gets its number after the first object of it and what that consists of.
    ArchiveValue entry(Pairs fields, const ArchiveClass& objectClass) {
        fields.push_back({ClassKey, classUid(objectClass)});
        return fields;
    }

    ArchiveValue arrayEntry(const ArchiveValue& value) {
        ArchiveValue::Array items;
        for (const ArchiveValue& item : value.array())
            items.push_back(uid(item));
        return entry({{ItemsKey, std::move(items)}}, nativeClassOf(value));
    }

    ArchiveValue dictionaryEntry(const ArchiveValue& value) {
        const std::vector<quint32> order = m_order.ofKeys(value.dictionary());
        ArchiveValue::Array keys;
        ArchiveValue::Array items;
        for (const quint32 i : order)
            keys.push_back(keyUid(value.dictionary()[i]));
        for (const quint32 i : order)
            items.push_back(uid(value.dictionary()[i].value));
        return entry({{KeysKey, std::move(keys)}, {ItemsKey, std::move(items)}}, nativeClassOf(value));
    }

    ArchiveValue objectEntry(const ArchiveValue& value) {
        Pairs fields;
        for (const auto& [key, field, instance] : value.dictionary()) {
            // Numbers alone stand in the field itself.
            fields.push_back({key.startsWith(u'$') ? u'$' + key : key, field.isNumber() ? field : uid(field)});
        }
        return entry(std::move(fields), value.objectClass());
    }

    ArchiveValue classUid(const ArchiveClass& objectClass) {
        const auto known = m_classes.constFind(objectClass.name);
        if (known != m_classes.cend())
            return m_uids[*known];
        m_classes.insert(objectClass.name, next());
        Pairs fields{{ClassNameKey, classNameValue(objectClass.name)}};
        ArchiveValue::Array names;
        for (const QString& name : objectClass.classes)
            names.push_back(classNameValue(name));
        if (!names.empty())
            fields.push_back({ClassListKey, std::move(names)});
        return append(std::move(fields));
    }

    ArchiveValue::Array m_objects;
    /// The reference to each object.
    ArchiveValue::Array m_uids;
    QHash<QString, quint32> m_classes;
    SharedObjects m_shared;
    KeyOrder m_order;
};

} // namespace

QByteArray KeyedArchiver::archivedData(const ArchiveValue& root, const QString& rootKey) {
    return Archiver().archive(root, rootKey);
}

} // namespace Platform
