#include "PasswordVerdict.h"

#include "IntegerValue.h"
#include "LoginVerdict.h"

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

PasswordVerdict judgePasswordAnswer(
    const QJsonObject& answer, const Platform::Error& error, const QString& wrongOldPasswordKey) {
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
