#include "PasswordRules.h"

#include "StringExtension.h"

using namespace Qt::StringLiterals;

PasswordCase checkPasswordEntry(const PasswordEntry& entry) {
    if (entry.oldPassword.isEmpty())
        return PasswordCase::Empty;
    // An empty new password is told as one that breaks the rule: that check comes first.
    if (!StringExtension::confirmPassFormat(entry.newPassword))
        return PasswordCase::Rule;
    if (entry.newPassword != entry.repeated)
        return PasswordCase::Inconsistent;
    if (entry.userId.isEmpty())
        return PasswordCase::NoOldAccount;
    if (entry.oldPassword == entry.repeated)
        return PasswordCase::SameAsOld;
    return PasswordCase::Accepted;
}

QString tipKey(PasswordCase passwordCase) {
    static constexpr const char16_t* Keys[] = {
        u"", u"PwdInconsistent", u"PwdRuleTips", u"PwdNotEmpty", u"NOUseOldPwd", u"NOGetOldAcountInfo"};
    return QString::fromUtf16(Keys[static_cast<size_t>(passwordCase)]);
}

bool breaksPasswordRule(const QString& text) {
    return !text.isEmpty() && !StringExtension::confirmPassFormat(text);
}

std::optional<PasswordBalloon> passwordBalloon(const QString& identifier) {
    if (identifier == u"newpassword")
        return PasswordBalloon{tipKey(PasswordCase::Rule), 67.0};
    if (identifier == u"confirmpassword")
        return PasswordBalloon{tipKey(PasswordCase::Inconsistent), 32.0};
    return std::nullopt;
}
