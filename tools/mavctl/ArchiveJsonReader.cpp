#include "ArchiveJson.h"

#include "ArchiveDate.h"
#include "ArchiveJsonForms.h"
#include "PropertyListLimits.h"

#include <nlohmann/json.hpp>

#include <limits>

using namespace Qt::StringLiterals;

using Json = nlohmann::ordered_json;
using Platform::ArchiveClass;
using Platform::ArchiveEntry;
using Platform::ArchiveValue;
namespace Limits = Platform::PropertyListLimits;

namespace {

/// Builds the value while the text is being read, so that nothing that is too large comes into being.
class Builder final : public nlohmann::json_sax<Json> {
public:
    explicit Builder(QString& reason) : m_reason(reason) {}

    ArchiveValue take() { return std::move(m_root); }

    bool null() override {
        // No object as a root; elsewhere only NSNull stands for nothing, except in fields.
        return put(m_open.empty() ? ArchiveValue() : ArchiveValue::null());
    }
    bool boolean(bool value) override { return put(value); }
    bool number_integer(number_integer_t value) override { return put(value); }
    bool number_unsigned(number_unsigned_t value) override { return put(value); }
    bool number_float(number_float_t value, const string_t&) override { return put(value); }
    bool string(string_t& value) override { return put(ArchiveValue::text(QString::fromStdString(value))); }
    bool binary(binary_t&) override { return fail(u"binary JSON is not read"_s); }
    bool start_object(std::size_t) override { return open(false); }
    bool start_array(std::size_t) override { return open(true); }
    bool key(string_t& value) override {
        QString text = QString::fromStdString(value);
        m_open.back().entries.push_back({text.isNull() ? QString(""_L1) : std::move(text), {}});
        return true;
    }
    bool end_object() override {
        Container container = close();
        ArchiveValue value;
        return made(std::move(container.entries), value) && put(std::move(value));
    }
    bool end_array() override { return put(ArchiveValue(close().items)); }
    bool parse_error(std::size_t position, const std::string&, const Json::exception&) override {
        return fail(u"standard input is not JSON: error at byte %1"_s.arg(position));
    }

private:
    struct Container {
        bool isArray;
        ArchiveValue::Array items;
        ArchiveValue::Dictionary entries;
    };

    bool fail(const QString& reason) {
        if (m_reason.isEmpty())
            m_reason = reason;
        return false;
    }

    bool open(bool isArray) {
        // The forms are objects too, yet no containers.
        if (m_open.size() > size_t{Limits::Depth})
            return fail(u"more than %1 containers within each other"_s.arg(Limits::Depth));
        m_open.push_back({isArray, {}, {}});
        return true;
    }

    Container close() {
        Container container = std::move(m_open.back());
        m_open.pop_back();
        return container;
    }

    bool put(ArchiveValue value) {
        if (++m_values > Limits::Objects)
            return fail(u"more than %1 values"_s.arg(Limits::Objects));
        if (m_open.empty())
            m_root = std::move(value);
        else if (m_open.back().isArray)
            m_open.back().items.push_back(std::move(value));
        else
            m_open.back().entries.back().value = std::move(value);
        return true;
    }

    /// An object of JSON: a form, an object of a class or a dictionary.
    bool made(ArchiveValue::Dictionary entries, ArchiveValue& value) {
        const auto isKey = [&](const char* name) { return entries[0].key == QLatin1StringView(name); };
        if (entries.size() == 1 &&
            (isKey(ArchiveJson::DataKey) || isKey(ArchiveJson::DateKey) || isKey(ArchiveJson::DoubleKey)))
            return madeForm(entries[0], value);
        ArchiveEntry* classEntry = nullptr;
        for (ArchiveEntry& entry : entries) {
            if (entry.key == QLatin1StringView(ArchiveJson::ClassKey))
                classEntry = &entry;
            else
                entry.key = ArchiveJson::unescaped(entry.key);
        }
        if (!classEntry) {
            value = ArchiveValue(std::move(entries));
            return true;
        }
        const QString name = classEntry->value.string();
        if (name.isEmpty())
            return fail(u"\"$class\" is not the name of a class"_s);
        entries.erase(entries.begin() + (classEntry - entries.data()));
        for (ArchiveEntry& entry : entries) {
            if (entry.value.isNull())
                entry.value = {};
        }
        value = ArchiveValue::object(
            std::make_shared<const ArchiveClass>(ArchiveClass{name, {name, u"NSObject"_s}}), std::move(entries));
        return true;
    }

    bool madeForm(const ArchiveEntry& entry, ArchiveValue& value) {
        const QString text = entry.value.string();
        if (entry.key == QLatin1StringView(ArchiveJson::DataKey)) {
            const auto decoding =
                QByteArray::fromBase64Encoding(text.toUtf8(), QByteArray::AbortOnBase64DecodingErrors);
            value = decoding.decoded;
            return (entry.value.isString() && decoding) || fail(u"\"$data\" is not Base64 text"_s);
        }
        if (entry.key == QLatin1StringView(ArchiveJson::DateKey)) {
            const auto seconds = Platform::ArchiveDate::fromIsoText(text);
            value = ArchiveValue::date(seconds.value_or(entry.value.number()));
            return seconds || entry.value.isDouble() || entry.value.isInteger() || fail(u"\"$date\" is not a date"_s);
        }
        constexpr double Infinity = std::numeric_limits<double>::infinity();
        const bool isNan = text == "nan"_L1;
        value = isNan ? std::numeric_limits<double>::quiet_NaN() : text == "inf"_L1 ? Infinity : -Infinity;
        return isNan || text == "inf"_L1 || text == "-inf"_L1 || fail(u"\"$double\" is not nan, inf or -inf"_s);
    }

    QString& m_reason;
    ArchiveValue m_root;
    std::vector<Container> m_open;
    quint32 m_values = 0;
};

} // namespace

std::optional<ArchiveValue> ArchiveJson::value(const std::string& text, QString& reason) {
    Builder builder(reason);
    if (!Json::sax_parse(text, &builder)) {
        if (reason.isEmpty())
            reason = u"standard input is not JSON"_s;
        return std::nullopt;
    }
    return builder.take();
}
