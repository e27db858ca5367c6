#include "LogRedaction.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>

namespace {

bool isSecret(const QString& key) {
    static constexpr std::array<QLatin1StringView, 6> Secrets{
        QLatin1StringView("ticket"), QLatin1StringView("password"), QLatin1StringView("old_password"),
        QLatin1StringView("otp"),    QLatin1StringView("pwd"),      QLatin1StringView("p12")};
    return std::any_of(Secrets.begin(), Secrets.end(), [&](QLatin1StringView secret) { return key == secret; });
}

QJsonValue withoutSecrets(const QJsonValue& value) {
    if (value.isArray()) {
        QJsonArray result;
        for (const QJsonValue& element : value.toArray())
            result.append(withoutSecrets(element));
        return result;
    }
    if (!value.isObject())
        return value;
    const QJsonObject object = value.toObject();
    QJsonObject result;
    for (auto it = object.begin(); it != object.end(); ++it)
        result.insert(it.key(), isSecret(it.key()) ? QJsonValue(QStringLiteral("***")) : withoutSecrets(it.value()));
    return result;
}

} // namespace

QString redacted(const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::Object:
        return QString::fromUtf8(QJsonDocument(withoutSecrets(value).toObject()).toJson(QJsonDocument::Compact));
    case QJsonValue::Array:
        return QString::fromUtf8(QJsonDocument(withoutSecrets(value).toArray()).toJson(QJsonDocument::Compact));
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QJsonValue::Double:
    case QJsonValue::String:
        return value.toVariant().toString();
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        break;
    }
    return QStringLiteral("(null)");
}
