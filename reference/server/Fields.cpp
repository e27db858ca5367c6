#include "Fields.h"

#include <QJsonArray>
#include <QSet>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

using Type = FieldRule::Type;

bool isDigits(const QString& text) {
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

bool obeys(const QJsonValue& value, const FieldRule& rule) {
    if (rule.type == Type::OptionalText && value.isUndefined())
        return true;
    if (rule.type == Type::Integer)
        return value.isDouble() && value.toDouble() == std::trunc(value.toDouble());
    if (!value.isString())
        return false;
    const QString text = value.toString();
    if (rule.fixed && text != QLatin1StringView(rule.fixed))
        return false;
    switch (rule.type) {
    case Type::Digits:
        return isDigits(text);
    case Type::FilledText:
    case Type::OptionalText:
        return !text.isEmpty();
    default:
        return true;
    }
}

QJsonValue masked(const QString& name, const QJsonValue& value) {
    static const QSet<QString> secret{u"password"_s, u"old_password"_s, u"otp"_s, u"ticket"_s, u"pwd"_s, u"p12"_s};
    if (secret.contains(name))
        return u"***"_s;
    if (value.isObject())
        return withoutSecrets(value.toObject());
    if (!value.isArray())
        return value;
    QJsonArray array;
    for (const auto& entry : value.toArray())
        array.append(masked({}, entry));
    return array;
}

} // namespace

QString firstWrongField(const QJsonObject& fields, const FieldRules& rules) {
    for (const FieldRule& rule : rules) {
        const QString name = QString::fromLatin1(rule.name);
        if (!obeys(fields.value(name), rule))
            return name;
    }
    return {};
}

QJsonObject withoutSecrets(const QJsonObject& fields) {
    QJsonObject shown;
    for (auto it = fields.begin(); it != fields.end(); ++it)
        shown[it.key()] = masked(it.key(), it.value());
    return shown;
}

FieldRules loginFields() {
    return {{"otp", Type::OptionalText}, {"device_type", Type::Text, "PC"}, {"deviceid", Type::FilledText},
        {"hostname", Type::Text}, {"ip", Type::Text}, {"logintype", Type::Integer}, {"mac", Type::Text},
        {"os", Type::Text}, {"password", Type::FilledText}, {"timestamp", Type::Digits}, {"userid", Type::FilledText},
        {"soleid", Type::Text}};
}

FieldRules scanCodeFields() {
    return {{"hostname", Type::Text}, {"ip", Type::Text}, {"mac", Type::Text}, {"device_type", Type::Text, "PC"},
        {"login_user", Type::Text}, {"timestamp", Type::Digits}, {"deviceid", Type::FilledText}, {"os", Type::Text},
        {"soleid", Type::FilledText}};
}

FieldRules scanStatusFields() {
    return {{"hostname", Type::Text}, {"deviceid", Type::FilledText}, {"mac", Type::Text},
        {"clientoper", Type::Integer}, {"soleid", Type::Text}};
}

FieldRules ticketFields() {
    return {{"ticket", Type::FilledText}, {"hostname", Type::Text}, {"mac", Type::Text}, {"userid", Type::Text},
        {"deviceid", Type::Text}};
}

FieldRules domainFields() {
    return {{"uid", Type::FilledText}, {"dc", Type::FilledText}, {"deviceid", Type::FilledText}, {"mac", Type::Text}};
}

FieldRules logoutFields() {
    return {{"userid", Type::FilledText}, {"ticket", Type::Text}, {"deviceid", Type::FilledText}, {"ip", Type::Text},
        {"mac", Type::Text}};
}

FieldRules resetFields() {
    return {{"userid", Type::FilledText}, {"old_password", Type::FilledText}, {"password", Type::FilledText},
        {"device_type", Type::Text, "PC"}, {"deviceid", Type::FilledText}, {"hostname", Type::Text}, {"ip", Type::Text},
        {"logintype", Type::Integer}, {"mac", Type::Text}, {"os", Type::Text}, {"timestamp", Type::Digits},
        {"soleid", Type::Text}};
}

FieldRules retrieveFields() {
    return {{"user_id", Type::FilledText}};
}

} // namespace Reference
