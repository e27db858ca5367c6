#include "LogRedaction.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

using namespace Qt::StringLiterals;

namespace {

bool isSecret(const QString& key) {
    static const QSet<QString> secrets{u"ticket"_s, u"password"_s, u"old_password"_s, u"otp"_s, u"pwd"_s, u"p12"_s};
    return secrets.contains(key);
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
    if (value.isObject() || value.isArray()) {
        const QJsonValue shown = withoutSecrets(value);
        const QJsonDocument document =
            shown.isArray() ? QJsonDocument(shown.toArray()) : QJsonDocument(shown.toObject());
        return QString::fromUtf8(document.toJson(QJsonDocument::Compact));
    }
    if (value.isBool())
        return value.toBool() ? u"1"_s : u"0"_s;
    return value.isNull() || value.isUndefined() ? u"(null)"_s : value.toVariant().toString();
}

QString logDigest(const QByteArray& secret) {
    constexpr qsizetype Shown = 8;
    const QByteArray digits = QCryptographicHash::hash(secret, QCryptographicHash::Sha256).toHex();
    return u"(%1 bytes, sha256 %2)"_s.arg(QString::number(secret.size()), QString::fromLatin1(digits.left(Shown)));
}
