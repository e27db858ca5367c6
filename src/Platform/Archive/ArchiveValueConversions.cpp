#include "ArchiveValue.h"

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

} // namespace

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
