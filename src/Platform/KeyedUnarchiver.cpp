#include "KeyedUnarchiver.h"

#include "BinaryPropertyListReader.h"
#include "PropertyListLimits.h"

#include <QVarLengthArray>

#include <algorithm>
#include <forward_list>

namespace Platform {

namespace {

using Reader = BinaryPropertyListReader;
using Kind = Reader::Kind;

constexpr qint64 ArchiveVersion = 100000;
constexpr quint32 LookLimit = 8 * PropertyListLimits::Objects;

/// What an object of a class is read as.
enum class Form : quint8 { String, Data, Date, Null, Array, Dictionary, Object };

struct ClassEntry {
    std::shared_ptr<const ArchiveClass> objectClass;
    Form form = Form::Object;
    bool isMutable = false;
    bool isAllowed = false;
};

/// @param name  of a class that begins with "NS"
Form formOf(const QString& name) {
    static const std::pair<QLatin1StringView, Form> forms[] = {{QLatin1StringView("NSDictionary"), Form::Dictionary},
                                                               {QLatin1StringView("NSArray"), Form::Array},
                                                               {QLatin1StringView("NSString"), Form::String},
                                                               {QLatin1StringView("NSNull"), Form::Null},
                                                               {QLatin1StringView("NSData"), Form::Data},
                                                               {QLatin1StringView("NSDate"), Form::Date}};
    constexpr QLatin1StringView mutablePrefix("NSMutable");
    const QStringView rest = QStringView(name).mid(name.startsWith(mutablePrefix) ? mutablePrefix.size() : 2);
    for (const auto& [known, form] : forms) {
        if (rest == known.mid(2))
            return form;
    }
    return Form::Object;
}

/// A name of the archive's own, whose place in the object table is looked up once.
struct Name {
    QByteArrayView text;
    quint32 known = Reader::NoObject;
};

class ArchiveDecoder {
public:
    ArchiveDecoder(Reader& reader, const AllowedClasses& allowed)
        : m_reader(reader), m_allowed(allowed), m_allowsString(allowed.allows(u"NSString")),
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
        m_read.resize(m_objects.count);
        m_instances = ArchiveLayout::newInstances(m_reader.objectCount());
        return decodeUid(rootUid, 0, root);
    }

private:
    struct Read {
        ArchiveValue value;
        quint32 values = 0;
        quint8 height = 0;
        enum class State : quint8 { New, Open, Done } state = State::New;
    };

    quint32 find(const Reader::Object& dictionary, Name& name) {
        if (dictionary.kind != Kind::Dictionary)
            return Reader::NoObject;
        for (quint32 i = 0; i < dictionary.count && ++m_lookedAt < LookLimit; ++i) {
            if (is(m_reader.reference(dictionary, i), name))
                return m_reader.reference(dictionary, dictionary.count + i);
        }
        return Reader::NoObject;
    }

    quint32 findRoot(const Reader::Object& top, QString* key) {
        if (!key || top.kind != Kind::Dictionary || top.count != 1)
            return find(top, m_root);
        const quint32 name = m_reader.reference(top, 0);
        *key = m_reader.string(name, m_reader.object(name));
        return m_reader.reference(top, 1);
    }

    /// True when object @p key is the text of @p name.
    bool is(quint32 key, Name& name) {
        if (key == name.known)
            return key != Reader::NoObject;
        if (!m_reader.isText(key, name.text))
            return false;
        name.known = key;
        return true;
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
        Read& read = m_read[number];
        if (read.state == Read::State::New) {
            read.state = Read::State::Open;
            const quint32 before = m_values;
            const int outerHeight = std::exchange(m_height, 0);
            if (!count(1) || !decodeEntry(number, object, depth, read.value))
                return false;
            ArchiveLayout::setInstance(read.value, m_instances + index);
            read.state = Read::State::Done;
            read.values = m_values - before;
            read.height = static_cast<quint8>(m_height);
            m_height = std::max(outerHeight, m_height);
        } else {
            if (read.state == Read::State::Open || depth + read.height > PropertyListLimits::Depth ||
                !count(read.values))
                return false;
            m_height = std::max<int>(m_height, read.height);
        }
        result = read.value;
        return true;
    }

    bool count(quint32 values) {
        m_values += values;
        return m_values <= PropertyListLimits::Objects;
    }

    /// Room for @p entries in a container at @p depth. Its height is known when its contents have been read.
    bool enter(quint32 entries, int depth) const {
        return depth < PropertyListLimits::Depth && entries <= PropertyListLimits::Objects - m_values;
    }

    bool decodeEntry(quint32 number, const Reader::Object& object, int depth, ArchiveValue& result) {
        const ClassEntry* entry = classOf(object);
        if (!entry || !entry->isAllowed)
            return false;
        const bool isMutable = entry->isMutable;
        bool isWhole = false;
        switch (entry->form) {
        case Form::Null:
            result = ArchiveValue::null();
            isWhole = true;
            break;
        case Form::String:
            isWhole = decodeInlineScalar(find(object, m_string), result) && result.isString();
            break;
        case Form::Data:
            isWhole = decodeInlineScalar(find(object, m_data), result) && result.isData();
            break;
        case Form::Date:
            isWhole = decodeInlineScalar(find(object, m_time), result) && result.isDouble();
            result = ArchiveValue::date(result.number());
            break;
        case Form::Array:
            isWhole = decodeUids(m_reader.object(find(object, m_arrayObjects)), depth, result);
            break;
        case Form::Dictionary:
            isWhole = decodeDictionary(object, *entry, number, depth, result);
            break;
        case Form::Object:
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
        bool isAllowed = m_allowsNumber;
        switch (object.kind) {
        case Kind::Boolean:
            result = object.integer != 0;
            break;
        case Kind::Integer:
            result = object.integer;
            break;
        case Kind::Unsigned:
            result = ArchiveValue::unsignedInteger(static_cast<quint64>(object.integer));
            break;
        case Kind::SingleReal:
        case Kind::Real:
            result = object.real();
            if (object.kind == Kind::SingleReal)
                ArchiveLayout::setSinglePrecision(result);
            break;
        case Kind::Date:
            result = ArchiveValue::date(object.real());
            isAllowed = m_allowsDate;
            break;
        case Kind::Data: {
            QByteArray bytes;
            if (!m_reader.data(object, bytes))
                return false;
            result = bytes;
            isAllowed = m_allowsData;
            break;
        }
        case Kind::String:
        case Kind::WideString:
            result = m_reader.string(index, object);
            isAllowed = m_allowsString && result.isString();
            break;
        default:
            return false;
        }
        ArchiveLayout::setInstance(result, m_instances + index);
        return isAllowed || !isObject;
    }

    bool decodeUids(const Reader::Object& list, int depth, ArchiveValue& result) {
        if (list.kind != Kind::Array || !enter(list.count, depth))
            return false;
        ArchiveValue::Array items(list.count);
        for (quint32 i = 0; i < list.count; ++i) {
            if (!decodeUid(m_reader.uid(m_reader.reference(list, i)), depth + 1, items[i]))
                return false;
        }
        ++m_height;
        result = ArchiveValue(std::move(items));
        return true;
    }

    /// A dictionary whose keys are not all strings is read as an object with the fields "NS.keys" and "NS.objects".
    bool decodeDictionary(const Reader::Object& object, const ClassEntry& entry, quint32 number, int depth,
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
            const Reader::Object keyObject = m_reader.object(key);
            if (keyObject.kind == Kind::Dictionary)
                return decodeObject(object, entry, number, depth, result);
            entries[i].key = m_reader.string(key, keyObject);
            entries[i].keyInstance = m_instances + key;
            if (entries[i].key.isNull() || !m_allowsString)
                return false;
        }
        for (quint32 i = 0; i < values.count; ++i) {
            if (!decodeUid(m_reader.uid(m_reader.reference(values, i)), depth + 1, entries[i].value))
                return false;
        }
        ++m_height;
        result = ArchiveLayout::dictionaryAsStored(std::move(entries));
        return true;
    }

    bool decodeObject(const Reader::Object& object, const ClassEntry& entry, quint32 number, int depth,
                      ArchiveValue& result);
    bool decodeField(quint32 index, const Reader::Object& object, int depth, ArchiveValue& result);
    bool decodeInlineArray(const Reader::Object& object, int depth, ArchiveValue& result);
    bool decodeInlineDictionary(const Reader::Object& object, int depth, ArchiveValue& result);
    const ClassEntry* classOf(const Reader::Object& object);
    bool decodeClass(const Reader::Object& object, ClassEntry& entry);

    Reader& m_reader;
    const AllowedClasses& m_allowed;
    const bool m_allowsString;
    const bool m_allowsNumber;
    const bool m_allowsData;
    const bool m_allowsDate;
    Reader::Object m_objects;
    quint64 m_instances = 0;
    quint32 m_values = 0;
    /// Of what has been read inside the container that is being read: containers within each other.
    int m_height = 0;
    std::vector<Read> m_read;
    std::vector<const ClassEntry*> m_classEntries;
    std::forward_list<ClassEntry> m_classes;
    /// Pairs and class names looked at: overlapping objects must not make a small file long work.
    quint32 m_lookedAt = 0;

    Name m_version{"$version"};
    Name m_archiver{"$archiver"};
    Name m_top{"$top"};
    Name m_root{"root"};
    Name m_objectsName{"$objects"};
    Name m_class{"$class"};
    Name m_className{"$classname"};
    Name m_classList{"$classes"};
    Name m_keys{"NS.keys"};
    Name m_arrayObjects{"NS.objects"};
    Name m_dictionaryObjects{"NS.objects"};
    Name m_string{"NS.string"};
    Name m_data{"NS.data"};
    Name m_time{"NS.time"};
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
    const auto isEarlier = [&](qsizetype left, qsizetype right) {
        return uids[left] < uids[right];
    };
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

bool ArchiveDecoder::decodeObject(const Reader::Object& object, const ClassEntry& entry, quint32 number, int depth,
                                  ArchiveValue& result) {
    if (!enter(object.count, depth))
        return false;
    ArchiveValue::Dictionary fields;
    Uids uids;
    fields.reserve(object.count);
    uids.reserve(object.count);
    for (quint32 i = 0; i < object.count; ++i) {
        const quint32 key = m_reader.reference(object, i);
        if (is(key, m_class))
            continue;
        const Reader::Object keyObject = m_reader.object(key);
        ArchiveEntry field{m_reader.string(key, keyObject), {}, m_instances + key, i};
        const quint32 value = m_reader.reference(object, object.count + i);
        const Reader::Object valueObject = m_reader.object(value);
        if (field.key.isNull() || !decodeField(value, valueObject, depth + 1, field.value))
            return false;
        // A field's own name that begins with "$" was given another one.
        if (field.key.size() > 1 && field.key[0] == u'$' && field.key[1] == u'$')
            field.key.remove(0, 1);
        uids.push_back(valueObject.kind == Kind::Uid ? valueObject.integer : -1);
        fields.push_back(std::move(field));
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
        const quint32 key = m_reader.reference(object, i);
        entries[i].key = m_reader.string(key, m_reader.object(key));
        entries[i].keyInstance = m_instances + key;
        const quint32 index = m_reader.reference(object, object.count + i);
        if (entries[i].key.isNull() || !decodeField(index, m_reader.object(index), depth + 1, entries[i].value))
            return false;
    }
    ++m_height;
    result = ArchiveLayout::dictionaryAsStored(std::move(entries));
    return true;
}

const ClassEntry* ArchiveDecoder::classOf(const Reader::Object& object) {
    const quint32 uid = m_reader.uid(find(object, m_class));
    if (uid >= m_objects.count)
        return nullptr;
    if (m_classEntries.empty())
        m_classEntries.resize(m_objects.count);
    if (!m_classEntries[uid]) {
        ClassEntry entry;
        if (!decodeClass(m_reader.object(m_reader.reference(m_objects, uid)), entry))
            return nullptr;
        m_classEntries[uid] = &m_classes.emplace_front(std::move(entry));
    }
    return m_classEntries[uid];
}

bool ArchiveDecoder::decodeClass(const Reader::Object& object, ClassEntry& entry) {
    const quint32 name = find(object, m_className);
    const quint32 list = find(object, m_classList);
    ArchiveClass result;
    result.name = name == Reader::NoObject ? QString() : m_reader.string(name, m_reader.object(name));
    if (result.name.isEmpty())
        return false;
    // Left out by some writers; "$classhints" is not looked at.
    if (list != Reader::NoObject) {
        const Reader::Object names = m_reader.object(list);
        if (names.kind != Kind::Array)
            return false;
        m_lookedAt += names.count;
        if (m_lookedAt > LookLimit)
            return false;
        result.classes.reserve(names.count);
        for (quint32 i = 0; i < names.count; ++i) {
            const quint32 one = m_reader.reference(names, i);
            result.classes.append(m_reader.string(one, m_reader.object(one)));
            if (result.classes.last().isNull())
                return false;
        }
    }
    const bool isPlatforms = result.name.size() > 2 && result.name[0] == u'N' && result.name[1] == u'S';
    entry.form = isPlatforms ? formOf(result.name) : Form::Object;
    entry.isMutable = isPlatforms && result.name.startsWith(QLatin1StringView("NSMutable"));
    entry.isAllowed = m_allowed.allows(result.name, result.classes);
    entry.objectClass = std::make_shared<const ArchiveClass>(std::move(result));
    return true;
}

} // namespace

std::optional<ArchiveValue> KeyedUnarchiver::unarchivedObject(const QByteArray& data, const AllowedClasses& allowed,
                                                              QString* rootKey) {
    Reader reader;
    ArchiveValue root;
    if (!reader.open(data) || !ArchiveDecoder(reader, allowed).decode(root, rootKey))
        return std::nullopt;
    return root;
}

} // namespace Platform
