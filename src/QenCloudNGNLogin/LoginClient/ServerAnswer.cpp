#include "ServerAnswer.h"

#include "LogRedaction.h"
#include "StringTable.h"

using namespace Qt::StringLiterals;

namespace {

const QString NoSignInDomain = u"ServerAnswerErrorDomain"_s;

/// Text of a whole number or a string that is usable as a name; nothing for any other value.
QString nameOf(const QJsonValue& value) {
    const bool isWhole = value.isDouble() && QJsonValue(value.toInteger()) == value;
    return isWhole ? QString::number(value.toInteger()) : value.toString();
}

} // namespace

QString ServerAnswer::logged(std::optional<qint64> number) {
    return number ? QString::number(*number) : u"(null)"_s;
}

QString ServerAnswer::loggedMsg(const QJsonObject& answer) {
    return redacted(answer.value(u"msg"));
}

bool ServerAnswer::endsSession(std::optional<qint64> state) {
    return is(state, ServerState::DeviceLoggedOut) || is(state, ServerState::DeviceUnknown) ||
        is(state, ServerState::SignInFailed) || is(state, ServerState::NotSignedIn);
}

bool ServerAnswer::grantsSession(const QJsonObject& answer) {
    const QJsonValue ticket = data(answer).value(u"ticket");
    return confirms(answer) && !ticket.isUndefined() && !ticket.isNull();
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
