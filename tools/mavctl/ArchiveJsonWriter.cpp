#include "ArchiveJson.h"

#include "ArchiveDate.h"
#include "ArchiveJsonForms.h"
#include "ArchiveLayout.h"
#include "InsertionOrder.h"

#include <nlohmann/json.hpp>

#include <cmath>

using Json = nlohmann::ordered_json;
using Platform::ArchiveEntry;
using Platform::ArchiveLayout;
using Platform::ArchiveValue;

namespace {

class Listing {
public:
    Json json(const ArchiveValue& value) {
        Json result = content(value);
        m_order.saw(ArchiveLayout::instance(value));
        return result;
    }

private:
    Json content(const ArchiveValue& value) {
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

    Json pairs(const ArchiveValue& value) {
        Json result = Json::object();
        if (value.isObject())
            add(result, ArchiveJson::ClassKey, value.className().toStdString());
        // Listed in the order of insertion, yet gone through in that of archiving.
        const std::vector<quint32> order = m_order.of(value);
        const ArchiveValue::Dictionary& entries = value.dictionary();
        if (value.isDictionary()) {
            for (const ArchiveEntry& entry : entries)
                m_order.saw(entry.keyInstance);
        }
        std::vector<Json> contents;
        contents.reserve(entries.size());
        for (const ArchiveEntry& entry : entries)
            contents.push_back(json(entry.value));
        for (const quint32 index : order)
            add(result, ArchiveJson::escaped(entries[index].key).toStdString(), std::move(contents[index]));
        return result;
    }

    static Json realNumber(double number) {
        if (std::isnan(number))
            return form(ArchiveJson::DoubleKey, "nan");
        if (std::isinf(number))
            return form(ArchiveJson::DoubleKey, number > 0 ? "inf" : "-inf");
        return number;
    }

    static Json form(const char* key, Json content) {
        Json result = Json::object();
        add(result, key, std::move(content));
        return result;
    }

    /// Keys differ already, and looking for them each time would take the square of their number.
    static void add(Json& object, std::string key, Json content) {
        Json::object_t::Container& pairs = object.get_ref<Json::object_t&>();
        pairs.emplace_back(std::move(key), std::move(content));
    }

    InsertionOrder m_order;
};

} // namespace

std::string ArchiveJson::text(const ArchiveValue& root) {
    return Listing().json(root).dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}
