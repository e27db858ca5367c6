#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

namespace Reference {

/// What a request must carry under one name.
struct FieldRule {
    enum class Type {
        Text,         ///< a string, possibly empty
        FilledText,   ///< a string that is not empty
        Digits,       ///< a string of decimal digits, at least one
        Integer,      ///< a whole number
        OptionalText, ///< may be missing; else as FilledText
    };
    const char* name;
    Type type;
    /// When set, the only text that is accepted.
    const char* fixed = nullptr;
};
using FieldRules = QList<FieldRule>;

/// @return the name of the first field that is missing or of another type, empty when all are right. Other names are
/// allowed.
QString firstWrongField(const QJsonObject& fields, const FieldRules& rules);

/// The fields with the values of "password", "old_password", "otp", "ticket", "pwd" and "p12" replaced by "***", at any
/// depth.
QJsonObject withoutSecrets(const QJsonObject& fields);

// What the client sends with each operation.
FieldRules loginFields();
FieldRules scanCodeFields();
FieldRules scanStatusFields();
FieldRules ticketFields();
FieldRules domainFields();
FieldRules logoutFields();
FieldRules resetFields();
FieldRules retrieveFields();

} // namespace Reference
