#include "ArchiveValue.h"

#include "ArchiveDate.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QTimeZone>

#include <cmath>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// Seconds from the first moment of 1970 to that of 2001.
constexpr double ReferenceDate = 978307200;

const QString ClassKey = u"$class"_s;

ArchiveValue orNull(ArchiveValue value) {
    return value.isNothing() ? ArchiveValue::null() : value;
}

template <typename List, typename Convert>
ArchiveValue arrayOf(const List& list, Convert convert) {
    ArchiveValue::Array items;
    items.reserve(static_cast<size_t>(list.size()));
    for (const auto& item : list)
        items.push_back(orNull(convert(item)));
    return ArchiveValue(std::move(items));
}

template <typename Map, typename Convert>
ArchiveValue dictionaryOf(const Map& map, Convert convert) {
    ArchiveValue::Dictionary entries;
    entries.reserve(static_cast<size_t>(map.size()));
    for (auto pair = map.begin(); pair != map.end(); ++pair)
        entries.push_back({pair.key(), orNull(convert(pair.value()))});
    return ArchiveValue(std::move(entries));
}

} // namespace

ArchiveValue ArchiveValue::fromVariant(const QVariant& variant) {
    switch (variant.typeId()) {
    case QMetaType::UnknownType:
        return {};
    case QMetaType::Nullptr:
        return null();
    case QMetaType::Bool:
        return variant.toBool();
    case QMetaType::ULongLong:
    case QMetaType::ULong:
        return variant.toULongLong();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::UChar:
    case QMetaType::SChar:
        return variant.toLongLong();
    case QMetaType::Double:
    case QMetaType::Float:
        return variant.toDouble();
    case QMetaType::QByteArray:
        return variant.toByteArray();
    case QMetaType::QDateTime:
        return date(static_cast<double>(variant.toDateTime().toMSecsSinceEpoch()) / 1000 - ReferenceDate);
    case QMetaType::QStringList:
        return variant.toStringList();
    case QMetaType::QVariantList:
        return arrayOf(variant.toList(), fromVariant);
    case QMetaType::QVariantMap:
        return dictionaryOf(variant.toMap(), fromVariant);
    case QMetaType::QVariantHash:
        return dictionaryOf(variant.toHash(), fromVariant);
    case QMetaType::QJsonValue:
    case QMetaType::QJsonObject:
    case QMetaType::QJsonArray:
        return fromJson(variant.toJsonValue());
    default:
        return variant.toString();
    }
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
    case QJsonValue::Double:
        return fromVariant(json.toVariant()); // whole numbers come as such
    case QJsonValue::String:
        return ArchiveValue::text(json.toString());
    case QJsonValue::Array:
        return arrayOf(json.toArray(), [](const QJsonValue& item) { return fromJson(item); });
    case QJsonValue::Object:
        return dictionaryOf(json.toObject(), [](const QJsonValue& item) { return fromJson(item); });
    case QJsonValue::Undefined:
        break;
    }
    return {};
}

QJsonValue ArchiveValue::toJson() const {
    switch (type()) {
    case Type::Nothing:
    case Type::Null:
        return QJsonValue::Null;
    case Type::Boolean:
        return boolean();
    case Type::Integer:
        return integer();
    case Type::Unsigned:
        return static_cast<double>(unsignedInteger());
    case Type::Double:
        return number();
    case Type::Date:
        return QJsonObject{{u"$date"_s, ArchiveDate::isoText(number())}};
    case Type::String:
        return string();
    case Type::Data:
        return QJsonObject{{u"$data"_s, QString::fromLatin1(data().toBase64())}};
    case Type::Array: {
        QJsonArray list;
        for (const ArchiveValue& item : array())
            list.append(item.toJson());
        return list;
    }
    case Type::Dictionary:
    case Type::Object: {
        QJsonObject map;
        if (isObject())
            map.insert(ClassKey, className());
        for (const ArchiveEntry& entry : dictionary())
            map.insert(entry.key, entry.value.toJson());
        return map;
    }
    }
    return {};
}

} // namespace Platform
