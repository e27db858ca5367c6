#include "IntegerValue.h"

#include <QRegularExpression>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

std::optional<qint64> truncated(double number) {
    constexpr double Limit = 9.2e18;
    if (std::isnan(number) || std::fabs(number) > Limit)
        return std::nullopt;
    return static_cast<qint64>(number);
}

} // namespace

std::optional<qint64> integerValue(const QString& text) {
    static const QRegularExpression leading(u"^\\s*([+-]?[0-9]+)"_s);
    const QRegularExpressionMatch match = leading.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    bool fits = false;
    const qint64 number = match.captured(1).toLongLong(&fits);
    return fits ? std::optional(number) : std::nullopt;
}

std::optional<qint64> integerValue(const QJsonValue& value) {
    return integerValue(value.toVariant());
}

std::optional<qint64> integerValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::QString:
        return integerValue(value.toString());
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
        bool fits = false;
        const qint64 number = value.toLongLong(&fits);
        return fits ? std::optional(number) : std::nullopt;
    }
    case QMetaType::Double:
        return truncated(value.toDouble());
    default:
        return std::nullopt;
    }
}
