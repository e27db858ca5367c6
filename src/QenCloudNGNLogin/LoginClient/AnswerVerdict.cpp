#include "AnswerVerdict.h"

#include "StringTable.h"

#include <map>

using namespace Qt::StringLiterals;

namespace {

using Show = AnswerVerdict::Show;
using Code = ServerErrorCode;

constexpr int Ordinary = 1;
constexpr int PollingTrace = 32;

const QString Head = u"[QenDetailWindow] QenCloud "_s;
const QString Scanned = u"二维码已扫描"_s;
const QString Unusable = u"AnswerUnusable"_s;

constexpr AnswerPlace::CodeText LoginCodes[] = {{Code::WrongAccountOrPassword, u"AccountOrPwdError"},
    {Code::UserBlocked, u"Userblocked"}, {Code::UserExpired, u"Userexpired"}, {Code::DeviceBound, u"Devicebound"},
    {Code::DeviceBlocked, u"Deviceblocked"}};
constexpr AnswerPlace::CodeText RetrievalCodes[] = {{Code::BadRequestParameter, u"RequestParameterError"},
    {Code::UserWithoutMailbox, u"UserNoMailbox"}, {Code::AdministratorWithoutMailbox, u"AdminNoMailbox"},
    {Code::MailNotSent, u"BackPwdMailSendFail"}};
constexpr AnswerPlace::CodeText ResetPageCodes[] = {{Code::WrongOldPassword, u"ModifyPwdFailedForOldPwdError"}};
constexpr AnswerPlace::CodeText SheetCodes[] = {{Code::WrongOldPassword, u"OldPwdError"}};

QString failLine(const QString& what, const Platform::Error& error) {
    return Head + u"%1 fail msg:%2"_s.arg(what, error.localizedDescription());
}

/// "<what> ret:<ret> msg:<msg>", and the same with "state".
QString answerLine(const QString& what, const char16_t* key, std::optional<qint64> value, const QJsonObject& answer) {
    return Head +
        u"%1 %2:%3 msg:%4"_s.arg(
            what, QString::fromUtf16(key), ServerAnswer::logged(value), ServerAnswer::loggedMsg(answer));
}

/// Nothing for words that are not there.
AnswerVerdict saying(const QString& text) {
    return {.show = text.isEmpty() ? Show::Nothing : Show::Text, .text = text};
}

AnswerVerdict failed(const Platform::Error& error, const AnswerPlace& place) {
    if (place.changesPassword && ServerAnswer::isNoSignIn(error))
        return {.show = Show::Done, .text = error.localizedDescription()};
    if (error.code() == Platform::Error::NotJson && !place.notJsonKey.isEmpty())
        return {.show = Show::Key, .text = place.notJsonKey};
    return saying(error.localizedDescription());
}

AnswerVerdict showAlertTipsWithErrorcode(const QJsonObject& answer, const AnswerPlace& place) {
    const auto code = ServerAnswer::errorcode(answer);
    if (place.opensResetPage && ServerAnswer::is(code, Code::NewPasswordWanted))
        return {.show = Show::ResetPage};
    const bool codesCount = !place.codesNeedMinusOne || ServerAnswer::ret(answer) == -1;
    for (const AnswerPlace::CodeText& row : place.codes) {
        if (codesCount && ServerAnswer::is(code, row.code))
            return {.show = Show::Key, .text = QString::fromUtf16(row.key)};
    }
    return saying(ServerAnswer::msg(answer));
}

AnswerVerdict granted(const QJsonObject& answer, AnswerPlace::Reads reads) {
    if (reads == AnswerPlace::Reads::Nothing)
        return {.show = Show::Done};
    const auto state = reads == AnswerPlace::Reads::State ? ServerAnswer::state(answer) : ServerAnswer::status(answer);
    if (ServerAnswer::is(state, ServerState::Valid))
        return {.show = Show::Done};
    if (ServerAnswer::is(state, ServerState::Scanned))
        return {.show = Show::Text, .text = Scanned};
    const QString key = ServerAnswer::stateKey(state);
    return {.show = key.isEmpty() ? Show::Nothing : Show::Key, .text = key};
}

QString lineFor(const QJsonObject& answer, const Platform::Error& error, const AnswerPlace& place, Show show) {
    if (place.logName.isEmpty() || show == Show::ResetPage)
        return {};
    if (error)
        return failLine(place.logName, error);
    const auto ret = ServerAnswer::ret(answer);
    if (ret == 0 && place.reads == AnswerPlace::Reads::State)
        return answerLine(place.logName, u"state", ServerAnswer::state(answer), answer);
    return ret == 0 && !place.logsSuccess ? QString() : answerLine(place.logName, u"ret", ret, answer);
}

} // namespace

QString AnswerVerdict::told() const {
    return show == Show::Key ? localizedString(text) : text;
}

const AnswerPlace AnswerPlace::LoginPage{
    .reads = Reads::Status, .opensResetPage = true, .notJsonKey = u"NoAccount"_s, .codes = LoginCodes};
const AnswerPlace AnswerPlace::LoginWindow{
    .reads = Reads::State, .logName = u"Account login"_s, .opensResetPage = true};
const AnswerPlace AnswerPlace::ResetPage{
    .reads = Reads::Status, .codes = ResetPageCodes, .codesNeedMinusOne = true, .changesPassword = true};
// A demand for a new password is a refusal like any other here.
const AnswerPlace AnswerPlace::ResetInLoginWindow{
    .reads = Reads::State, .logName = u"resetpassword"_s, .changesPassword = true};
const AnswerPlace AnswerPlace::PasswordSheet{
    .reads = Reads::Status, .codes = SheetCodes, .codesNeedMinusOne = true, .changesPassword = true};
const AnswerPlace AnswerPlace::RetrievalPage{.codes = RetrievalCodes};
const AnswerPlace AnswerPlace::LogoutMenu{.logName = u"logout"_s, .logsSuccess = true};
const AnswerPlace AnswerPlace::LogoutInLoginWindow{.logName = u"logout"_s};

AnswerVerdict judgeAnswer(const QJsonObject& answer, const Platform::Error& error, const AnswerPlace& place) {
    AnswerVerdict verdict;
    if (error)
        verdict = failed(error, place);
    else if (const auto ret = ServerAnswer::ret(answer); !ret)
        verdict = {.show = Show::Key, .text = Unusable};
    else
        verdict = *ret == 0 ? granted(answer, place.reads) : showAlertTipsWithErrorcode(answer, place);
    verdict.log = lineFor(answer, error, place, verdict.show);
    return verdict;
}

QRStateLook qrStateLook(qint64 state) {
    static const std::map<ServerState, QRStateLook> Looks{{ServerState::DeviceApproved, {.text = u"设备审核通过"_s}},
        {ServerState::DeviceLoggedOut, {.text = u"设备已注销"_s}},
        {ServerState::DeviceRejected, {.text = u"设备审核拒绝"_s}},
        {ServerState::DeviceInReview, {.text = u"设备待审核"_s, .hint = true}},
        {ServerState::Scanned, {.text = u"已扫码,待确定..."_s, .hint = true}}, {ServerState::Valid, {.isDone = true}}};
    const auto look = Looks.find(static_cast<ServerState>(state));
    return look == Looks.end() ? QRStateLook{.text = u"其它异常"_s} : look->second;
}

QRPollVerdict judgeQRPoll(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = u"Check QRLogin"_s;
    if (error)
        return {.tells = ServerAnswer::isNoSignIn(error) ? error.localizedDescription() : QString(),
            .log = failLine(what, error),
            .logType = Ordinary};
    const auto ret = ServerAnswer::ret(answer);
    if (ret != 0)
        return {.tells = ret ? QString() : ServerAnswer::unusable().localizedDescription(),
            .log = answerLine(what, u"ret", ret, answer),
            .logType = Ordinary};
    const auto state = ServerAnswer::state(answer);
    // States that end the session are dropped on purpose: the session ends by them, the login window is not told.
    return {.forwarded = ServerAnswer::endsSession(state) ? std::nullopt : state,
        .log = answerLine(what, u"state", state, answer),
        .logType = PollingTrace};
}

QString ticketPollLine(const QJsonObject& answer, const Platform::Error& error) {
    return error ? Head + u"Check ticket error:%1"_s.arg(error.localizedDescription())
                 : Head + u"Check ticket response msg:%1"_s.arg(ServerAnswer::loggedMsg(answer));
}
