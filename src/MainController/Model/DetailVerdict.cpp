#include "DetailVerdict.h"

#include "DeviceState.h"
#include "IntegerValue.h"
#include "LogRedaction.h"

namespace {

constexpr qint64 NewPasswordWanted = 20;
constexpr qint64 SignedInState = 0;
constexpr qint64 ScannedState = -1;
constexpr int Ordinary = 1;
constexpr int PollingTrace = 32;

const QString Head = QStringLiteral("[QenDetailWindow] QenCloud ");
const QString OtherState = QStringLiteral("其它异常");

QString number(std::optional<qint64> value) {
    return value ? QString::number(*value) : QStringLiteral("(null)");
}

std::optional<qint64> stateOf(const QJsonObject& answer) {
    return integerValue(answer.value(u"data").toObject().value(u"state"));
}

DetailVerdict saying(const QString& text, const QString& log) {
    return {text.isEmpty() ? DetailVerdict::Show::Nothing : DetailVerdict::Show::Text, text, log};
}

QString failLine(const QString& what, const Platform::Error& error) {
    return Head + QStringLiteral("%1 fail msg:%2").arg(what, error.localizedDescription());
}

/// "<what> ret:<ret> msg:<msg>", and the same with "state".
QString answerLine(const QString& what, const char* key, std::optional<qint64> value, const QJsonObject& answer) {
    return Head + QStringLiteral("%1 %2:%3 msg:%4")
                      .arg(what, QString::fromLatin1(key), number(value), redacted(answer.value(u"msg")));
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
        return {Show::Text, QStringLiteral("二维码已扫描"), log};
    const QString key = deviceStateKey(*state);
    return {key.isEmpty() ? Show::Nothing : Show::Key, key, log};
}

} // namespace

QRStateLook qrStateLook(qint64 state) {
    switch (state) {
    case -8:
        return {QStringLiteral("设备审核通过")};
    case -7:
        return {QStringLiteral("设备已注销")};
    case -6:
        return {QStringLiteral("设备审核拒绝")};
    case -5:
        return {QStringLiteral("设备待审核"), true};
    case ScannedState:
        return {QStringLiteral("已扫码,待确定..."), true};
    case SignedInState:
        return {{}, false, true};
    default:
        return {OtherState};
    }
}

DetailVerdict judgeAccountAnswer(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = QStringLiteral("Account login");
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
    const QString what = QStringLiteral("resetpassword");
    if (error)
        return saying(error.localizedDescription(), failLine(what, error));
    const auto ret = integerValue(answer.value(u"ret"));
    if (ret == 0)
        return judgeState(what, answer);
    return saying(answer.value(u"msg").toString(), answerLine(what, "ret", ret, answer));
}

DetailVerdict judgeDetailLogoutAnswer(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = QStringLiteral("logout");
    if (error)
        return saying(error.localizedDescription(), failLine(what, error));
    const auto ret = integerValue(answer.value(u"ret"));
    if (ret == 0)
        return {};
    return saying(answer.value(u"msg").toString(), answerLine(what, "ret", ret, answer));
}

QRPollVerdict judgeQRPoll(const QJsonObject& answer, const Platform::Error& error) {
    const QString what = QStringLiteral("Check QRLogin");
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
        return {false, false, Head + QStringLiteral("Check ticket error:%1").arg(error.localizedDescription())};
    return {true, integerValue(answer.value(u"ret")) == 0 && stateOf(answer) == SignedInState,
            Head + QStringLiteral("Check ticket response msg:%1").arg(redacted(answer.value(u"msg")))};
}
