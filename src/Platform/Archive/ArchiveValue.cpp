#include "ArchiveValue.h"

#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QTimeZone>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// Seconds from the first moment of 1970 to that of 2001.
constexpr double ReferenceDate = 978307200;

const QString ClassKey = u"$class"_s;

template <typename T>
const T& emptyValue() {
    static const T value{};
    return value;
}

bool mayHaveRepeatedKeys(const ArchiveValue::Dictionary& entries) {
    constexpr size_t FewEntries = 16;
    for (size_t i = 1; i < entries.size() && entries.size() <= FewEntries; ++i) {
        for (size_t j = 0; j < i; ++j) {
            if (entries[i].key == entries[j].key)
                return true;
        }
    }
    return entries.size() > FewEntries;
}

/// Keeps the first place and the last value of each key.
void dropRepeatedKeys(ArchiveValue::Dictionary& entries) {
    if (!mayHaveRepeatedKeys(entries))
        return;
    QHash<QString, size_t> places;
    places.reserve(static_cast<qsizetype>(entries.size()));
    size_t kept = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        const auto place = places.constFind(entries[i].key);
        if (place != places.constEnd()) {
            entries[*place].value = std::move(entries[i].value);
            continue;
        }
        places.insert(entries[i].key, kept);
        if (kept != i)
            entries[kept] = std::move(entries[i]);
        ++kept;
    }
    entries.resize(kept);
}

/// The content alone, copied first when others have it too.
template <typename T>
T& ownContent(std::shared_ptr<T>& content) {
    if (content.use_count() > 1)
        content = std::make_shared<T>(*content);
    return *content;
}

} // namespace

struct ArchiveValue::Pairs {
    Dictionary entries;
    /// Of an object only.
    std::shared_ptr<const ArchiveClass> objectClass;
};

ArchiveValue::ArchiveValue(QString text) {
    if (text.isNull())
        return;
    m_payload.emplace<QString>(std::move(text));
    m_type = Type::String;
}

ArchiveValue::ArchiveValue(const QByteArray& bytes) : ArchiveValue(Type::Data, bytes) {}

ArchiveValue::ArchiveValue(const QStringList& strings) : ArchiveValue(Array(strings.begin(), strings.end())) {}

ArchiveValue::ArchiveValue(Array items) : ArchiveValue(Type::Array, std::make_shared<Array>(std::move(items))) {}

ArchiveValue::ArchiveValue(Dictionary entries) : ArchiveValue(object(nullptr, std::move(entries))) {
    m_type = Type::Dictionary;
}

ArchiveValue ArchiveValue::text(QString text) {
    return {Type::String, text.isNull() ? QString(""_L1) : std::move(text)};
}

ArchiveValue ArchiveValue::object(const QString& className, const QStringList& classes) {
    return object(std::make_shared<const ArchiveClass>(ArchiveClass{className, classes}), {});
}

ArchiveValue ArchiveValue::object(std::shared_ptr<const ArchiveClass> objectClass, Dictionary fields) {
    dropRepeatedKeys(fields);
    return {Type::Object, std::make_shared<Pairs>(Pairs{std::move(fields), std::move(objectClass)})};
}

qint64 ArchiveValue::integer() const {
    if (const auto* whole = std::get_if<qint64>(&m_payload))
        return *whole;
    if (!isDouble())
        return 0;
    constexpr double Limit = 9223372036854775808.0; // 2^63
    const double value = std::get<double>(m_payload);
    if (std::isnan(value))
        return 0;
    if (value >= Limit)
        return std::numeric_limits<qint64>::max();
    return value < -Limit ? std::numeric_limits<qint64>::min() : static_cast<qint64>(value);
}

double ArchiveValue::number() const {
    if (const auto* real = std::get_if<double>(&m_payload))
        return *real;
    const auto* whole = std::get_if<qint64>(&m_payload);
    if (!whole)
        return 0;
    return m_type == Type::Unsigned ? static_cast<double>(static_cast<quint64>(*whole)) : static_cast<double>(*whole);
}

const QString& ArchiveValue::string() const {
    const auto* text = std::get_if<QString>(&m_payload);
    return text ? *text : emptyValue<QString>();
}

const QByteArray& ArchiveValue::data() const {
    const auto* bytes = std::get_if<QByteArray>(&m_payload);
    return bytes ? *bytes : emptyValue<QByteArray>();
}

const ArchiveValue::Array& ArchiveValue::array() const {
    const auto* items = std::get_if<std::shared_ptr<Array>>(&m_payload);
    return items ? **items : emptyValue<Array>();
}

const ArchiveValue::Dictionary& ArchiveValue::dictionary() const {
    const auto* pairs = std::get_if<std::shared_ptr<Pairs>>(&m_payload);
    return pairs ? (*pairs)->entries : emptyValue<Dictionary>();
}

const ArchiveValue& ArchiveValue::value(QStringView key) const {
    for (const ArchiveEntry& entry : dictionary()) {
        if (entry.key == key)
            return entry.value;
    }
    return emptyValue<ArchiveValue>();
}

const ArchiveClass& ArchiveValue::objectClass() const {
    return isObject() ? *std::get<std::shared_ptr<Pairs>>(m_payload)->objectClass : emptyValue<ArchiveClass>();
}

void ArchiveValue::append(ArchiveValue value) {
    if (!isArray())
        *this = ArchiveValue(Array());
    m_instance = 0;
    ownContent(std::get<std::shared_ptr<Array>>(m_payload)).push_back(std::move(value));
}

void ArchiveValue::insert(const QString& key, ArchiveValue value) {
    if (!isDictionary() && !isObject())
        *this = ArchiveValue(Dictionary());
    m_instance = 0;
    Dictionary& entries = ownContent(std::get<std::shared_ptr<Pairs>>(m_payload)).entries;
    for (ArchiveEntry& entry : entries) {
        if (entry.key == key) {
            entry.value = std::move(value);
            return;
        }
    }
    entries.push_back({key, std::move(value)});
}

std::vector<const ArchiveEntry*> ArchiveValue::sortedPairs() const {
    std::vector<const ArchiveEntry*> result;
    for (const ArchiveEntry& entry : dictionary())
        result.push_back(&entry);
    std::sort(result.begin(), result.end(), [](const auto* left, const auto* right) { return left->key < right->key; });
    return result;
}

bool operator==(const ArchiveValue& left, const ArchiveValue& right) {
    if (left.m_type != right.m_type)
        return false;
    if (left.isArray())
        return left.array() == right.array();
    if (left.isDictionary() || left.isObject()) {
        const auto first = left.sortedPairs();
        const auto second = right.sortedPairs();
        return left.className() == right.className() &&
            std::equal(first.begin(), first.end(), second.begin(), second.end(),
                [](const auto* a, const auto* b) { return a->key == b->key && a->value == b->value; });
    }
    // Bits, so that a value equals itself even where it is no number.
    if (const auto* real = std::get_if<double>(&left.m_payload))
        return std::bit_cast<quint64>(*real) == std::bit_cast<quint64>(right.number());
    return left.integer() == right.integer() && left.string() == right.string() && left.data() == right.data();
}

ArchiveValue ArchiveValue::asOneInstance() const {
    static std::atomic<quint32> last;
    ArchiveValue value = *this;
    value.m_instance = last.fetch_add(1, std::memory_order_relaxed) + 1;
    return value;
}

ArchiveValue ArchiveValue::asMutable() const {
    ArchiveValue value = *this;
    value.m_isMutable = isString() || isData() || isArray() || isDictionary();
    return value;
}

ArchiveValue ArchiveValue::asDeeplyMutable() const {
    if (isArray()) {
        Array items = array();
        for (ArchiveValue& item : items)
            item = item.asDeeplyMutable();
        return ArchiveValue(std::move(items)).asMutable();
    }
    if (isDictionary()) {
        Dictionary entries = dictionary();
        for (ArchiveEntry& entry : entries)
            entry.value = entry.value.asDeeplyMutable();
        return ArchiveValue(std::move(entries)).asMutable();
    }
    return *this;
}

QVariant ArchiveValue::toVariant() const {
    switch (type()) {
    case Type::Nothing:
        return {};
    case Type::Null:
        return QVariant::fromValue(nullptr);
    case Type::Boolean:
        return boolean();
    case Type::Integer:
        return integer();
    case Type::Unsigned:
        return unsignedInteger();
    case Type::Double:
        return number();
    case Type::Date:
        return QDateTime::fromMSecsSinceEpoch(std::llround((number() + ReferenceDate) * 1000), QTimeZone::utc());
    case Type::String:
        return string();
    case Type::Data:
        return data();
    case Type::Array: {
        QVariantList list;
        list.reserve(static_cast<qsizetype>(array().size()));
        for (const ArchiveValue& item : array())
            list.append(item.toVariant());
        return list;
    }
    case Type::Dictionary:
    case Type::Object: {
        QVariantMap map;
        if (isObject())
            map.insert(ClassKey, className());
        for (const ArchiveEntry& entry : dictionary())
            map.insert(entry.key, entry.value.toVariant());
        return map;
    }
    }
    return {};
}

ArchiveValue ArchiveValue::fromJson(const QJsonValue& json) {
    switch (json.type()) {
    case QJsonValue::Null:
        return null();
    case QJsonValue::Bool:
        return json.toBool();
    case QJsonValue::Double: {
        const QVariant number = json.toVariant();
        return number.typeId() == QMetaType::Double ? ArchiveValue(number.toDouble()) : number.toLongLong();
    }
    case QJsonValue::String:
        return ArchiveValue::text(json.toString());
    case QJsonValue::Array: {
        Array items;
        for (const QJsonValue& item : json.toArray())
            items.push_back(fromJson(item));
        return items;
    }
    case QJsonValue::Object: {
        const QJsonObject object = json.toObject();
        Dictionary entries;
        for (auto pair = object.begin(); pair != object.end(); ++pair)
            entries.push_back({pair.key(), fromJson(pair.value())});
        return entries;
    }
    case QJsonValue::Undefined:
        break;
    }
    return {};
}

} // namespace Platform
