#include "ServerAnswer.h"

#include "LogRedaction.h"
#include "StringTable.h"

using namespace Qt::StringLiterals;

namespace {

const QString NoSignInDomain = u"ServerAnswerErrorDomain"_s;

/// Text of a number or string that is usable as a name; nothing for any other value.
QString nameOf(const QJsonValue& value) {
    if (value.isString())
        return value.toString();
    const auto number = value.isDouble() ? integerValue(value) : std::nullopt;
    return number ? QString::number(*number) : QString();
}

} // namespace

std::optional<qint64> ServerAnswer::ret(const QJsonObject& answer) {
    return integerValue(answer.value(u"ret"));
}

QJsonObject ServerAnswer::data(const QJsonObject& answer) {
    return answer.value(u"data").toObject();
}

std::optional<qint64> ServerAnswer::state(const QJsonObject& answer) {
    return integerValue(data(answer).value(u"state"));
}

std::optional<qint64> ServerAnswer::status(const QJsonObject& answer) {
    return integerValue(data(answer).value(u"status"));
}

std::optional<qint64> ServerAnswer::errorcode(const QJsonObject& answer) {
    return integerValue(answer.value(u"errorcode"));
}

QString ServerAnswer::msg(const QJsonObject& answer) {
    return answer.value(u"msg").toString();
}

QString ServerAnswer::logged(std::optional<qint64> number) {
    return number ? QString::number(*number) : u"(null)"_s;
}

QString ServerAnswer::loggedMsg(const QJsonObject& answer) {
    return redacted(answer.value(u"msg"));
}

bool ServerAnswer::is(std::optional<qint64> value, ServerState state) {
    return value == static_cast<qint64>(state);
}

bool ServerAnswer::is(std::optional<qint64> value, ServerErrorCode code) {
    return value == static_cast<qint64>(code);
}

bool ServerAnswer::endsSession(std::optional<qint64> state) {
    return is(state, ServerState::DeviceLoggedOut) || is(state, ServerState::DeviceUnknown) ||
        is(state, ServerState::SignInFailed) || is(state, ServerState::NotSignedIn);
}

bool ServerAnswer::confirms(const QJsonObject& answer) {
    return ret(answer) == 0 && is(state(answer), ServerState::Valid);
}

bool ServerAnswer::grantsSession(const QJsonObject& answer) {
    return confirms(answer) && data(answer).value(u"ticket").isString();
}

std::optional<GrantedSession> ServerAnswer::grantedSession(const QJsonObject& answer) {
    if (!grantsSession(answer))
        return std::nullopt;
    const QJsonObject parts = data(answer);
    GrantedSession granted{
        nameOf(parts.value(u"userid")), nameOf(parts.value(u"username")), parts.value(u"ticket").toString()};
    return granted.userid.isEmpty() || granted.ticket.isEmpty() ? std::nullopt : std::optional(granted);
}

QString ServerAnswer::stateKey(std::optional<qint64> state) {
    static constexpr const char16_t* Keys[] = {u"Deviceapproved", u"Devicelogout", u"Devicerejected", u"Devicereview",
        u"DevicenoRegister", u"Faillogin", u"NotLogin"};
    constexpr auto First = static_cast<qint64>(ServerState::DeviceApproved);
    constexpr auto Last = static_cast<qint64>(ServerState::NotSignedIn);
    return state && *state >= First && *state <= Last ? QString::fromUtf16(Keys[*state - First]) : QString();
}

Platform::Error ServerAnswer::unusable() {
    return {NoSignInDomain, Platform::Error::Unknown, localizedString(u"AnswerUnusable"_s)};
}

Platform::Error ServerAnswer::notStored() {
    return {NoSignInDomain, Platform::Error::Unknown, localizedString(u"SessionNotStored"_s)};
}

bool ServerAnswer::isNoSignIn(const Platform::Error& error) {
    return error && error.domain() == NoSignInDomain;
}
