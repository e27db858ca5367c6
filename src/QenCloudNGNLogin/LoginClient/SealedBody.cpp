#include "SealedBody.h"

#include "Base64Text.h"
#include "ForeignJson.h"
#include "VoAlgorithmSM4.h"
#include "zipAndUnzip.h"

#include <QJsonArray>
#include <QJsonDocument>

QByteArray SealedBody::encryptResquestParams(const QJsonObject& parameters) {
    return sealJson(QJsonDocument(parameters).toJson(QJsonDocument::Indented));
}

QByteArray SealedBody::sealJson(const QByteArray& json) {
    const std::optional<QByteArray> compressed = zipAndUnzip().gzipDeflate(json);
    if (!compressed)
        return {};
    // The compressed bytes themselves: they are no text.
    const std::optional<QString> text = VoAlgorithmSM4::EncodeAES_CBC_PKCS5Padding(*compressed);
    return text ? text->toUtf8() : QByteArray();
}

std::optional<QJsonValue> SealedBody::decodeSM4(const QString& text) {
    const std::optional<QByteArray> json = unsealBytes(text);
    if (!json)
        return std::nullopt;
    const QJsonDocument document = Platform::parseForeignJson(*json);
    if (document.isObject())
        return document.object();
    if (document.isArray())
        return document.array();
    return std::nullopt;
}

QJsonObject SealedBody::opened(QJsonObject answer, std::initializer_list<QLatin1StringView> parts) {
    for (const QLatin1StringView part : parts) {
        if (const auto content = decodeSM4(answer.value(part).toString()))
            answer.insert(part, *content);
        else
            answer.remove(part);
    }
    return answer;
}

std::optional<QByteArray> SealedBody::unsealBytes(const QString& text) {
    const std::optional<QByteArray> cipher = Base64Text::decode(text);
    return cipher ? VoAlgorithmSM4::DecodeAES(*cipher) : std::nullopt;
}
