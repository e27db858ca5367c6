#include "ForeignJson.h"

using namespace Qt::StringLiterals;

QJsonDocument Platform::parseForeignJson(const QByteArray& text, QString* failure) {
    constexpr qsizetype MostContainers = 250000;
    constexpr qsizetype MostValues = 4000000;
    QJsonParseError error;
    QJsonDocument document;
    const bool isSmall = text.size() <= MostContainers ||
        (text.count('[') + text.count('{') <= MostContainers && text.count(',') < MostValues);
    if (isSmall)
        document = QJsonDocument::fromJson(text, &error);
    if (failure)
        *failure = isSmall ? error.errorString() : u"too many objects"_s;
    return document;
}
