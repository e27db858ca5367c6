#include "DetailVerdict.h"

#include "DeviceState.h"
#include "IntegerValue.h"
#include "LogRedaction.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 NewPasswordWanted = 20;
constexpr qint64 SignedInState = 0;
constexpr qint64 ScannedState = -1;
constexpr int Ordinary = 1;
constexpr int PollingTrace = 32;

const QString Head = u"[QenDetailWindow] QenCloud "_s;
const QString OtherState = u"其它异常"_s;

QString number(std::optional<qint64> value) {
    return value ? QString::number(*value) : u"(null)"_s;
}

std::optional<qint64> stateOf(const QJsonObject& answer) {
    return integerValue(answer.value(u"data").toObject().value(u"state"));
}

DetailVerdict saying(const QString& text, const QString& log) {
    return {text.isEmpty() ? DetailVerdict::Show::Nothing : DetailVerdict::Show::Text, text, log};
}

QString failLine(const QString& what, const Platform::Error& error) {
    return Head + u"%1 fail msg:%2"_s.arg(what, error.localizedDescription());
}

/// "<what> ret:<ret> msg:<msg>", and the same with "state".
QString answerLine(const QString& what, const char* key, std::optional<qint64> value, const QJsonObject& answer) {
    return Head +
        u"%1 %2:%3 msg:%4"_s.arg(what, QString::fromLatin1(key), number(value), redacted(answer.value(u"msg")));
}

DetailVerdict judgeState(const QString& what, const QJsonObject& answer) {
    using Show = DetailVerdict::Show;
    const auto state = stateOf(answer);
    const QString log = answerLine(what, "state", state, answer);
    if (!state)
        return {Show::Nothing, {}, log};
    if (*state == SignedInState)
        return {Show::SignedIn, {}, log};
    if (*state == ScannedState)
        return {Show::Text, u"二维码已扫描"_s, log};
    const QString key = deviceStateKey(*state);
    return {key.isEmpty() ? Show::Nothing : Show::Key, key, log};
}

} // namespace

QRStateLook qrStateLook(qint64 state) {
    switch (state) {
    case -8:
        return {u"设备审核通过"_s};
    case -7:
        return {u"设备已注销"_s};
    case -6:
        return {u"设备审核拒绝"_s};
    case -5:
        return {u"设备待审核"_s, true};
    case ScannedState:
        return {u"已扫码,待确定..."_s, true};
    case SignedInState:
        return {{}, false, true};
    default:
        return {OtherState};
    }
}

DetailVerdict judgeAccountAnswer(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = u"Account login"_s;
    if (error)
        return saying(error.localizedDescription(), failLine(what, error));
    const auto ret = integerValue(answer.value(u"ret"));
    if (ret == 0)
        return judgeState(what, answer);
    if (ret && integerValue(answer.value(u"errorcode")) == NewPasswordWanted)
        return {DetailVerdict::Show::ResetPage, {}, {}};
    return saying(answer.value(u"msg").toString(), answerLine(what, "ret", ret, answer));
}

DetailVerdict judgeResetAnswer(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = u"resetpassword"_s;
    if (error)
        return saying(error.localizedDescription(), failLine(what, error));
    const auto ret = integerValue(answer.value(u"ret"));
    if (ret == 0)
        return judgeState(what, answer);
    return saying(answer.value(u"msg").toString(), answerLine(what, "ret", ret, answer));
}

DetailVerdict judgeDetailLogoutAnswer(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = u"logout"_s;
    if (error)
        return saying(error.localizedDescription(), failLine(what, error));
    const auto ret = integerValue(answer.value(u"ret"));
    if (ret == 0)
        return {};
    return saying(answer.value(u"msg").toString(), answerLine(what, "ret", ret, answer));
}

QRPollVerdict judgeQRPoll(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = u"Check QRLogin"_s;
    if (error)
        return {std::nullopt, failLine(what, error), Ordinary};
    const auto ret = integerValue(answer.value(u"ret"));
    if (ret != 0)
        return {std::nullopt, answerLine(what, "ret", ret, answer), Ordinary};
    auto state = stateOf(answer);
    const QString log = answerLine(what, "state", state, answer);
    // Dropped on purpose: the session logic ends the session by them, the login window is not told.
    if (state == -7 || state == -4 || state == -3 || state == -2)
        state = std::nullopt;
    return {state, log, PollingTrace};
}

TicketPollVerdict judgeTicketPoll(const QJsonObject& answer, const Platform::Error& error) {
    if (error)
        return {false, false, Head + u"Check ticket error:%1"_s.arg(error.localizedDescription())};
    return {true, integerValue(answer.value(u"ret")) == 0 && stateOf(answer) == SignedInState,
        Head + u"Check ticket response msg:%1"_s.arg(redacted(answer.value(u"msg")))};
}
