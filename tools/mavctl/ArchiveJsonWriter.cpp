#include "ArchiveJson.h"

#include "ArchiveDate.h"
#include "ArchiveJsonForms.h"
#include "PropertyListLimits.h"

#include <nlohmann/json.hpp>

#include <cmath>

using Json = nlohmann::ordered_json;
using Platform::ArchiveValue;

namespace {

/// Keys differ already, and looking for them each time would take the square of their number.
void add(Json& object, std::string key, Json content) {
    object.get_ref<Json::object_t&>().emplace_back(std::move(key), std::move(content));
}

Json form(const char* key, Json content) {
    Json result = Json::object();
    add(result, key, std::move(content));
    return result;
}

Json realNumber(double number) {
    if (std::isnan(number))
        return form(ArchiveJson::DoubleKey, "nan");
    if (std::isinf(number))
        return form(ArchiveJson::DoubleKey, number > 0 ? "inf" : "-inf");
    return number;
}

/// Of all texts and data, at every place where they stand.
qsizetype lengthOf(const ArchiveValue& value) {
    qsizetype length = value.string().size() + value.data().size() + value.className().size();
    for (const ArchiveValue& item : value.array())
        length += lengthOf(item);
    for (const auto& entry : value.dictionary())
        length += entry.key.size() + lengthOf(entry.value);
    return length;
}

Json json(const ArchiveValue& value);

/// The class first, then the pairs sorted by their keys.
Json pairs(const ArchiveValue& value) {
    Json result = Json::object();
    if (value.isObject())
        add(result, ArchiveJson::ClassKey, value.className().toStdString());
    for (const auto* entry : value.sortedPairs())
        add(result, ArchiveJson::escaped(entry->key).toStdString(), json(entry->value));
    return result;
}

Json json(const ArchiveValue& value) {
    switch (value.type()) {
    case ArchiveValue::Type::Nothing:
    case ArchiveValue::Type::Null:
        return nullptr;
    case ArchiveValue::Type::Boolean:
        return value.boolean();
    case ArchiveValue::Type::Integer:
        return value.integer();
    case ArchiveValue::Type::Unsigned:
        return value.unsignedInteger();
    case ArchiveValue::Type::Double:
        return realNumber(value.number());
    case ArchiveValue::Type::Date: {
        const QString date = Platform::ArchiveDate::isoText(value.number());
        return form(ArchiveJson::DateKey, date.isEmpty() ? realNumber(value.number()) : Json(date.toStdString()));
    }
    case ArchiveValue::Type::String:
        return value.string().toStdString();
    case ArchiveValue::Type::Data:
        return form(ArchiveJson::DataKey, value.data().toBase64().toStdString());
    case ArchiveValue::Type::Array: {
        Json list = Json::array();
        for (const ArchiveValue& item : value.array())
            list.push_back(json(item));
        return list;
    }
    case ArchiveValue::Type::Dictionary:
    case ArchiveValue::Type::Object:
        return pairs(value);
    }
    return nullptr;
}

} // namespace

std::optional<std::string> ArchiveJson::text(const ArchiveValue& root) {
    // What shares nothing is never longer than its file.
    if (lengthOf(root) > 2 * Platform::PropertyListLimits::FileSize)
        return std::nullopt;
    return json(root).dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}
