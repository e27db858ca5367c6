#pragma once

#include "Error.h"
#include "PasswordRules.h"

#include <QJsonObject>
#include <QString>

/// What the server's answer to a new password means, for the reset page and the password sheet.

struct PasswordVerdict {
    enum class Show { Nothing, Key, Text, Changed };
    Show show = Show::Nothing;
    QString text;

    bool operator==(const PasswordVerdict&) const = default;
};

/// @param wrongOldPasswordKey  key of the text for errorcode 21, which differs between the reset page and the sheet
PasswordVerdict judgePasswordAnswer(
    const QJsonObject& answer, const Platform::Error& error, const QString& wrongOldPasswordKey);
