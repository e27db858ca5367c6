#pragma once

#include <QString>

#include <optional>

/// Rules for a new password, shared by the reset pages and the password sheet.

/// Why a password change is refused before it is sent; the numbers are the tip cases.
enum class PasswordCase {
    Accepted = 0,
    /// The two new passwords differ.
    Inconsistent = 1,
    /// The new password breaks the rule.
    Rule = 2,
    /// A required field is empty.
    Empty = 3,
    /// The new password equals the old one.
    SameAsOld = 4,
    /// No old password or no user id.
    NoOldAccount = 5
};

struct PasswordEntry {
    QString userId;
    QString oldPassword;
    QString newPassword;
    QString repeated;
};

PasswordCase checkPasswordEntry(const PasswordEntry& entry);

/// Key of the tip that says why; empty for an accepted entry.
QString tipKey(PasswordCase passwordCase);

/// What is wrong with a text while it is typed: nothing with an empty one.
bool breaksPasswordRule(const QString& text);

/// What the tips balloon says beside a field that has the keyboard.
struct PasswordBalloon {
    /// Key of the text.
    QString key;
    /// In points.
    double height = 0;

    bool operator==(const PasswordBalloon&) const = default;
};
/// @param identifier  of the field; nothing for one that has no tips
std::optional<PasswordBalloon> passwordBalloon(const QString& identifier);
