#include "ForeignJson.h"

QJsonDocument Platform::parseForeignJson(const QByteArray& text, QJsonParseError* failure) {
    constexpr qsizetype MostContainers = 250000;
    constexpr qsizetype MostValues = 4000000;
    if (text.size() <= MostContainers ||
        (text.count('[') + text.count('{') <= MostContainers && text.count(',') < MostValues))
        return QJsonDocument::fromJson(text, failure);
    if (failure)
        *failure = {0, QJsonParseError::DocumentTooLarge};
    return {};
}
