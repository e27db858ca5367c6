#include "PasswordVerdict.h"

#include "IntegerValue.h"
#include "LoginVerdict.h"
#include "StringExtension.h"

namespace {

constexpr qint64 Failure = -1;
constexpr qint64 WrongOldPassword = 21;

PasswordVerdict saying(const QString& text) {
    return text.isEmpty() ? PasswordVerdict{} : PasswordVerdict{PasswordVerdict::Show::Text, text};
}

PasswordVerdict fromStatus(const LoginVerdict& status) {
    using Show = PasswordVerdict::Show;
    switch (status.show) {
    case LoginVerdict::Show::SignedIn:
        return {Show::Changed, {}};
    case LoginVerdict::Show::Key:
        return {Show::Key, status.text};
    case LoginVerdict::Show::Text:
        return {Show::Text, status.text};
    case LoginVerdict::Show::ResetPage:
    case LoginVerdict::Show::Nothing:
        break;
    }
    return {};
}

} // namespace

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
    switch (passwordCase) {
    case PasswordCase::Inconsistent:
        return QStringLiteral("PwdInconsistent");
    case PasswordCase::Rule:
        return QStringLiteral("PwdRuleTips");
    case PasswordCase::Empty:
        return QStringLiteral("PwdNotEmpty");
    case PasswordCase::SameAsOld:
        return QStringLiteral("NOUseOldPwd");
    case PasswordCase::NoOldAccount:
        return QStringLiteral("NOGetOldAcountInfo");
    case PasswordCase::Accepted:
        break;
    }
    return {};
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

PasswordVerdict judgePasswordAnswer(const QJsonObject& answer, const Platform::Error& error,
                                    const QString& wrongOldPasswordKey) {
    if (error)
        return saying(error.localizedDescription());
    const auto ret = integerValue(answer.value(u"ret"));
    if (!ret)
        return {};
    if (*ret == 0)
        return fromStatus(judgeStatus(answer));
    if (*ret == Failure && integerValue(answer.value(u"errorcode")) == WrongOldPassword)
        return {PasswordVerdict::Show::Key, wrongOldPasswordKey};
    return saying(answer.value(u"msg").toString());
}
