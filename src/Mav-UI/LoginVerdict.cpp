#include "LoginVerdict.h"

#include "DeviceState.h"
#include "IntegerValue.h"

using namespace Qt::StringLiterals;

namespace {

struct Row {
    qint64 code;
    const char16_t* key;
};

constexpr qint64 NewPasswordWanted = 20;
constexpr qint64 SignedInStatus = 0;
constexpr qint64 ScannedStatus = -1;

constexpr Row LoginErrors[] = {{6, u"AccountOrPwdError"}, {15, u"Userblocked"}, {16, u"Userexpired"},
    {24, u"Devicebound"}, {25, u"Deviceblocked"}};

constexpr Row RetrievalErrors[] = {
    {11, u"RequestParameterError"}, {42, u"UserNoMailbox"}, {43, u"AdminNoMailbox"}, {44, u"BackPwdMailSendFail"}};

template <size_t Count>
QString keyFor(const Row (&rows)[Count], std::optional<qint64> code) {
    for (const Row& row : rows) {
        if (code == row.code)
            return QString::fromUtf16(row.key);
    }
    return {};
}

/// The server's own words; nothing when it sent none.
template <typename Verdict>
Verdict saying(const QString& text) {
    return text.isEmpty() ? Verdict{} : Verdict{Verdict::Show::Text, text};
}

QString serverMessage(const QJsonObject& answer) {
    return answer.value(u"msg").toString();
}

} // namespace

LoginVerdict judgeLoginAnswer(const QJsonObject& answer, const Platform::Error& error) {
    using Show = LoginVerdict::Show;
    if (error.code() == Platform::Error::NotJson)
        return {Show::Key, u"NoAccount"_s};
    if (error)
        return saying<LoginVerdict>(error.localizedDescription());
    const auto ret = integerValue(answer.value(u"ret"));
    if (!ret)
        return {};
    if (*ret == 0)
        return judgeStatus(answer);
    const auto code = integerValue(answer.value(u"errorcode"));
    if (code == NewPasswordWanted)
        return {Show::ResetPage, {}};
    const QString key = keyFor(LoginErrors, code);
    return key.isEmpty() ? saying<LoginVerdict>(serverMessage(answer)) : LoginVerdict{Show::Key, key};
}

LoginVerdict judgeStatus(const QJsonObject& answer) {
    using Show = LoginVerdict::Show;
    const auto status = integerValue(answer.value(u"data").toObject().value(u"status"));
    if (status == SignedInStatus)
        return {Show::SignedIn, {}};
    if (status == ScannedStatus)
        return {Show::Text, u"二维码已扫描"_s};
    const QString key = status ? deviceStateKey(*status) : QString();
    return key.isEmpty() ? LoginVerdict{} : LoginVerdict{Show::Key, key};
}

RetrievalVerdict judgeRetrievalAnswer(const QJsonObject& answer, const Platform::Error& error) {
    using Show = RetrievalVerdict::Show;
    if (error)
        return saying<RetrievalVerdict>(error.localizedDescription());
    const auto ret = integerValue(answer.value(u"ret"));
    if (!ret)
        return {};
    if (*ret == 0)
        return {Show::MailSent, answer.value(u"data").toObject().value(u"user_email").toString()};
    const QString key = keyFor(RetrievalErrors, integerValue(answer.value(u"errorcode")));
    return key.isEmpty() ? saying<RetrievalVerdict>(serverMessage(answer)) : RetrievalVerdict{Show::Key, key};
}

bool confirmsTicket(const QJsonObject& answer) {
    return integerValue(answer.value(u"ret")) == 0 &&
        integerValue(answer.value(u"data").toObject().value(u"state")) == 0;
}

LogoutVerdict judgeLogoutAnswer(const QJsonObject& answer, const Platform::Error& error) {
    if (error)
        return {false, error.localizedDescription()};
    return {integerValue(answer.value(u"ret")) == 0, serverMessage(answer)};
}
