#include "KeyedUnarchiver.h"

#include "ArchiveClasses.h"
#include "ArchiveScalars.h"
#include "PropertyListLimits.h"

#include <QVarLengthArray>

#include <algorithm>

namespace Platform {

namespace {

using Reader = BinaryPropertyListReader;
using Kind = Reader::Kind;

constexpr qint64 ArchiveVersion = 100000;

class ArchiveDecoder {
public:
    ArchiveDecoder(Reader& reader, const AllowedClasses& allowed)
        : m_reader(reader), m_lookUp(reader), m_classes(reader, m_lookUp, allowed),
          m_allowsString(allowed.allows(u"NSString")),
          m_allowsNumber(allowed.allows(u"NSNumber") || allowed.allows(u"NSValue")),
          m_allowsData(allowed.allows(u"NSData")), m_allowsDate(allowed.allows(u"NSDate")) {}

    bool decode(ArchiveValue& root, QString* rootKey) {
        const Reader::Object dictionary = m_reader.object(m_reader.topObject());
        const quint32 version = find(dictionary, m_version);
        const quint32 archiver = find(dictionary, m_archiver);
        m_objects = m_reader.object(find(dictionary, m_objectsName));
        const quint32 rootUid = m_reader.uid(findRoot(m_reader.object(find(dictionary, m_top)), rootKey));
        const Reader::Object versionNumber = m_reader.object(version);
        if (versionNumber.kind != Kind::Integer || versionNumber.integer != ArchiveVersion ||
            !m_reader.isText(archiver, "NSKeyedArchiver") || m_objects.kind != Kind::Array)
            return false;
        m_readAt.resize(m_objects.count);
        std::fill(m_readAt.begin(), m_readAt.end(), 0);
        m_instances = ArchiveLayout::newInstances(m_reader.objectCount());
        return decodeUid(rootUid, 0, root);
    }

private:
    struct Read {
        ArchiveValue value;
        quint32 values = 0;
        quint8 height = 0;
        bool isDone = false;
    };

    quint32 find(const Reader::Object& dictionary, ArchiveKey& key) { return m_lookUp.find(dictionary, key); }

    quint32 findRoot(const Reader::Object& top, QString* key) {
        if (!key || top.kind != Kind::Dictionary || top.count != 1)
            return find(top, m_root);
        const quint32 name = m_reader.reference(top, 0);
        *key = m_reader.string(name);
        return m_reader.reference(top, 1);
    }

    /// Decodes what a UID stands for, once: from then on the same value is handed out and counted again.
    bool decodeUid(quint32 number, int depth, ArchiveValue& result) {
        if (number >= m_objects.count)
            return false;
        if (number == 0) {
            result = ArchiveValue();
            return count(1);
        }
        const quint32 index = m_reader.reference(m_objects, number);
        const Reader::Object object = m_reader.object(index);
        // What stands for itself is quicker read again than kept.
        if (object.kind != Kind::Dictionary)
            return count(1) && decodePlain(index, object, true, result);
        quint32& place = m_readAt[number];
        if (place == 0) {
            place = static_cast<quint32>(m_read.size()) + 1;
            m_read.push_back({});
            const quint32 before = m_values;
            const int outerHeight = std::exchange(m_height, 0);
            if (!count(1) || !decodeEntry(number, object, depth, result))
                return false;
            ArchiveLayout::setInstance(result, m_instances + index);
            m_read[place - 1] = {result, m_values - before, static_cast<quint8>(m_height), true};
            m_height = std::max(outerHeight, m_height);
            return true;
        }
        const Read& read = m_read[place - 1];
        if (!read.isDone || depth + read.height > PropertyListLimits::Depth || !count(read.values))
            return false;
        m_height = std::max<int>(m_height, read.height);
        result = read.value;
        return true;
    }

    bool count(quint32 values) {
        m_values += values;
        return m_values <= PropertyListLimits::Objects;
    }

    /// Room for @p entries in a container at @p depth, beside what the containers around it still wait for. Its height
    /// is known when its contents have been read.
    bool enter(quint32 entries, int depth) {
        if (depth >= PropertyListLimits::Depth || quint64(m_pending) + entries > PropertyListLimits::Objects - m_values)
            return false;
        m_pending += entries;
        return true;
    }

    bool decodeEntry(quint32 number, const Reader::Object& object, int depth, ArchiveValue& result) {
        const ArchiveClasses::Entry* entry = m_classes.of(object, m_objects);
        if (!entry || !entry->isAllowed)
            return false;
        const bool isMutable = entry->isMutable;
        bool isWhole = false;
        switch (entry->form) {
        case ArchiveForm::Null:
            result = ArchiveValue::null();
            isWhole = true;
            break;
        case ArchiveForm::String:
            isWhole = decodeInlineScalar(find(object, m_string), result) && result.isString();
            break;
        case ArchiveForm::Data:
            isWhole = decodeInlineScalar(find(object, m_data), result) && result.isData();
            break;
        case ArchiveForm::Date:
            isWhole = decodeInlineScalar(find(object, m_time), result) && result.isDouble();
            result = ArchiveValue::date(result.number());
            break;
        case ArchiveForm::Array:
            isWhole = decodeUids(m_reader.object(find(object, m_arrayObjects)), depth, result);
            break;
        case ArchiveForm::Dictionary:
            isWhole = decodeDictionary(object, *entry, number, depth, result);
            break;
        case ArchiveForm::Object:
            isWhole = decodeObject(object, *entry, number, depth, result);
            break;
        }
        if (isMutable)
            ArchiveLayout::setMutable(result);
        return isWhole;
    }

    bool decodeInlineScalar(quint32 index, ArchiveValue& result) {
        return decodePlain(index, m_reader.object(index), false, result);
    }

    /// A string, number, date or data that stands for itself.
    /// @param isObject  in the archive's list of objects, so that its class has to be allowed
    bool decodePlain(quint32 index, const Reader::Object& object, bool isObject, ArchiveValue& result) {
        if (!ArchiveScalars::read(m_reader, index, object, result))
            return false;
        ArchiveLayout::setInstance(result, m_instances + index);
        return !isObject || isAllowed(result.type());
    }

    bool isAllowed(ArchiveValue::Type type) const {
        switch (type) {
        case ArchiveValue::Type::String:
            return m_allowsString;
        case ArchiveValue::Type::Data:
            return m_allowsData;
        case ArchiveValue::Type::Date:
            return m_allowsDate;
        default:
            return m_allowsNumber;
        }
    }

    bool decodeUids(const Reader::Object& list, int depth, ArchiveValue& result) {
        if (list.kind != Kind::Array || !enter(list.count, depth))
            return false;
        ArchiveValue::Array items(list.count);
        for (quint32 i = 0; i < list.count; ++i) {
            --m_pending;
            if (!decodeUid(m_reader.uid(m_reader.reference(list, i)), depth + 1, items[i]))
                return false;
        }
        ++m_height;
        result = ArchiveValue(std::move(items));
        return true;
    }

    /// A dictionary whose keys are not all strings is read as an object with the fields "NS.keys" and "NS.objects".
    bool decodeDictionary(const Reader::Object& object, const ArchiveClasses::Entry& entry, quint32 number, int depth,
        ArchiveValue& result) {
        const Reader::Object keys = m_reader.object(find(object, m_keys));
        const Reader::Object values = m_reader.object(find(object, m_dictionaryObjects));
        if (keys.kind == Kind::Uid)
            return decodeObject(object, entry, number, depth, result);
        if (keys.kind != Kind::Array || values.kind != Kind::Array || keys.count != values.count ||
            !enter(keys.count, depth))
            return false;
        ArchiveValue::Dictionary entries(keys.count);
        for (quint32 i = 0; i < keys.count; ++i) {
            const quint32 uid = m_reader.uid(m_reader.reference(keys, i));
            if (uid >= m_objects.count)
                return false;
            const quint32 key = m_reader.reference(m_objects, uid);
            entries[i].key = m_reader.string(key);
            entries[i].keyInstance = m_instances + key;
            if (entries[i].key.isNull() && m_reader.object(key).kind == Kind::Dictionary) {
                m_pending -= keys.count;
                return decodeObject(object, entry, number, depth, result);
            }
            if (entries[i].key.isNull() || !m_allowsString)
                return false;
        }
        for (quint32 i = 0; i < values.count; ++i) {
            --m_pending;
            if (!decodeUid(m_reader.uid(m_reader.reference(values, i)), depth + 1, entries[i].value))
                return false;
        }
        ++m_height;
        result = ArchiveLayout::dictionaryAsStored(std::move(entries));
        return true;
    }

    bool decodeObject(const Reader::Object& object, const ArchiveClasses::Entry& entry, quint32 number, int depth,
        ArchiveValue& result);
    bool decodeField(quint32 index, const Reader::Object& object, int depth, ArchiveValue& result);
    bool decodeInlineArray(const Reader::Object& object, int depth, ArchiveValue& result);
    bool decodeInlineDictionary(const Reader::Object& object, int depth, ArchiveValue& result);

    Reader& m_reader;
    ArchiveKeys m_lookUp;
    ArchiveClasses m_classes;
    const bool m_allowsString;
    const bool m_allowsNumber;
    const bool m_allowsData;
    const bool m_allowsDate;
    Reader::Object m_objects;
    quint64 m_instances = 0;
    quint32 m_values = 0;
    /// Entries for which open containers have made room.
    quint32 m_pending = 0;
    /// Of what has been read inside the container that is being read: containers within each other.
    int m_height = 0;
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

/// For each field the number of the object it refers to, or -1.
using Uids = QVarLengthArray<qint64, 32>;

/// Fields come out in hash order, but those that were archived first have the lower UIDs.
void restoreEncodingOrder(ArchiveValue::Dictionary& fields, const Uids& uids, qint64 ownUid) {
    QVarLengthArray<qsizetype, 32> places;
    for (qsizetype i = 0; i < uids.size(); ++i) {
        if (uids[i] > ownUid)
            places.push_back(i);
    }
    const auto isEarlier = [&](qsizetype left, qsizetype right) { return uids[left] < uids[right]; };
    if (std::is_sorted(places.begin(), places.end(), isEarlier))
        return;
    auto sorted = places;
    std::stable_sort(sorted.begin(), sorted.end(), isEarlier);
    ArchiveValue::Dictionary moved;
    for (const qsizetype place : sorted)
        moved.push_back(std::move(fields[size_t(place)]));
    for (qsizetype i = 0; i < places.size(); ++i)
        fields[size_t(places[i])] = std::move(moved[size_t(i)]);
}

bool ArchiveDecoder::decodeObject(
    const Reader::Object& object, const ArchiveClasses::Entry& entry, quint32 number, int depth, ArchiveValue& result) {
    if (!enter(object.count, depth))
        return false;
    ArchiveValue::Dictionary fields;
    Uids uids;
    fields.reserve(object.count);
    uids.reserve(object.count);
    for (quint32 i = 0; i < object.count; ++i) {
        --m_pending;
        const quint32 key = m_reader.reference(object, i);
        if (m_lookUp.is(key, m_class))
            continue;
        ArchiveEntry& field = fields.emplace_back();
        field.key = m_reader.string(key);
        field.keyInstance = m_instances + key;
        field.place = i;
        const quint32 value = m_reader.reference(object, object.count + i);
        const Reader::Object valueObject = m_reader.object(value);
        if (field.key.isNull() || !decodeField(value, valueObject, depth + 1, field.value))
            return false;
        // A field's own name that begins with "$" was given another one.
        if (field.key.size() > 1 && field.key.at(0) == u'$' && field.key.at(1) == u'$')
            field.key.remove(0, 1);
        uids.push_back(valueObject.kind == Kind::Uid ? valueObject.integer : -1);
    }
    restoreEncodingOrder(fields, uids, number);
    ++m_height;
    result = ArchiveLayout::objectAsStored(entry.objectClass, std::move(fields));
    return true;
}

/// A field of an object, or what stands inside one that is stored inline.
bool ArchiveDecoder::decodeField(quint32 index, const Reader::Object& object, int depth, ArchiveValue& result) {
    if (object.kind == Kind::Uid) {
        if (!decodeUid(static_cast<quint32>(object.integer), depth, result))
            return false;
        if (result.isNumber())
            ArchiveLayout::setStorage(result, ArchiveValue::Storage::Boxed);
        return true;
    }
    bool isWhole = count(1);
    if (object.kind == Kind::Array)
        isWhole = isWhole && decodeInlineArray(object, depth, result);
    else if (object.kind == Kind::Dictionary)
        isWhole = isWhole && decodeInlineDictionary(object, depth, result);
    else
        isWhole = isWhole && decodePlain(index, object, false, result);
    ArchiveLayout::setStorage(result, ArchiveValue::Storage::Inline);
    return isWhole;
}

bool ArchiveDecoder::decodeInlineArray(const Reader::Object& object, int depth, ArchiveValue& result) {
    if (!enter(object.count, depth))
        return false;
    ArchiveValue::Array items(object.count);
    for (quint32 i = 0; i < object.count; ++i) {
        --m_pending;
        const quint32 index = m_reader.reference(object, i);
        if (!decodeField(index, m_reader.object(index), depth + 1, items[i]))
            return false;
    }
    ++m_height;
    result = ArchiveValue(std::move(items));
    return true;
}

bool ArchiveDecoder::decodeInlineDictionary(const Reader::Object& object, int depth, ArchiveValue& result) {
    if (!enter(object.count, depth))
        return false;
    ArchiveValue::Dictionary entries(object.count);
    for (quint32 i = 0; i < object.count; ++i) {
        --m_pending;
        const quint32 key = m_reader.reference(object, i);
        entries[i].key = m_reader.string(key);
        entries[i].keyInstance = m_instances + key;
        const quint32 index = m_reader.reference(object, object.count + i);
        if (entries[i].key.isNull() || !decodeField(index, m_reader.object(index), depth + 1, entries[i].value))
            return false;
    }
    ++m_height;
    result = ArchiveLayout::dictionaryAsStored(std::move(entries));
    return true;
}

} // namespace

std::optional<ArchiveValue> KeyedUnarchiver::unarchivedObject(
    const QByteArray& data, const AllowedClasses& allowed, QString* rootKey) {
    Reader reader;
    ArchiveValue root;
    if (!reader.open(data) || !ArchiveDecoder(reader, allowed).decode(root, rootKey))
        return std::nullopt;
    return root;
}

} // namespace Platform
