#include "LogRedaction.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

bool isSecret(const QString& key) {
    static constexpr std::array<QLatin1StringView, 6> Secrets{
        "ticket"_L1, "password"_L1, "old_password"_L1, "otp"_L1, "pwd"_L1, "p12"_L1};
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
        result.insert(it.key(), isSecret(it.key()) ? QJsonValue(u"***"_s) : withoutSecrets(it.value()));
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
        return value.toBool() ? u"1"_s : u"0"_s;
    case QJsonValue::Double:
    case QJsonValue::String:
        return value.toVariant().toString();
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        break;
    }
    return u"(null)"_s;
}

QString logDigest(const QByteArray& secret) {
    constexpr qsizetype Shown = 8;
    const QByteArray digits = QCryptographicHash::hash(secret, QCryptographicHash::Sha256).toHex();
    return u"(%1 bytes, sha256 %2)"_s.arg(QString::number(secret.size()), QString::fromLatin1(digits.left(Shown)));
}
