#pragma once

#include "Error.h"
#include "IntegerValue.h"

#include <QJsonObject>
#include <QString>

#include <optional>

/// What the server thinks of a user's session on this device: "state" for the session, "status" for the views.
enum class ServerState : qint64 {
    DeviceApproved = -8,  ///< the device was approved; the sign-in goes on
    DeviceLoggedOut = -7, ///< the device was signed off; ends a session
    DeviceRejected = -6,  ///< the device was refused
    DeviceInReview = -5,  ///< the device waits for an administrator
    DeviceUnknown = -4,   ///< the device is not registered; ends a session
    SignInFailed = -3,    ///< the sign-in failed; ends a session
    NotSignedIn = -2,     ///< nobody is signed in; ends a session
    Scanned = -1,         ///< the QR code was scanned and waits for confirmation
    Valid = 0,            ///< the session is good
};

/// "errorcode" of an answer whose "ret" is not 0.
enum class ServerErrorCode : qint64 {
    WrongAccountOrPassword = 6,
    BadRequestParameter = 11,
    UserBlocked = 15,
    UserExpired = 16,
    NewPasswordWanted = 20, ///< the user has to set a new password first
    WrongOldPassword = 21,
    DeviceBound = 24, ///< the device belongs to another user
    DeviceBlocked = 25,
    UserWithoutMailbox = 42,
    AdministratorWithoutMailbox = 43,
    MailNotSent = 44,
};

/// "ticket_state" of the signed-in record.
enum class TicketState : qint64 {
    Valid = 1,
    TimedOut = 2, ///< written by the agent
};

/// A sign-in that the server granted: never without user and ticket.
struct GrantedSession {
    QString userid;
    QString username;
    QString ticket;
};

/// The words of the server's answers, and the one way to read them.
struct ServerAnswer final {
    /// The answer's result: 0 is success. Nothing when it does not say, which is neither success nor failure.
    static std::optional<qint64> ret(const QJsonObject& answer) { return integerValue(answer.value(u"ret")); }
    /// Empty when it is missing or no object.
    static QJsonObject data(const QJsonObject& answer) { return answer.value(u"data").toObject(); }
    /// As the session reads it.
    static std::optional<qint64> state(const QJsonObject& answer) { return integerValue(data(answer).value(u"state")); }
    /// As the views read it.
    static std::optional<qint64> status(const QJsonObject& answer) {
        return integerValue(data(answer).value(u"status"));
    }
    static std::optional<qint64> errorcode(const QJsonObject& answer) {
        return integerValue(answer.value(u"errorcode"));
    }
    /// The server's own words; empty when it sent none.
    static QString msg(const QJsonObject& answer) { return answer.value(u"msg").toString(); }
    /// A number, or "(null)", for the log.
    static QString logged(std::optional<qint64> number);
    /// "msg" as the log may show it.
    static QString loggedMsg(const QJsonObject& answer);

    /// @param name  a ServerState or a ServerErrorCode
    template <typename Name>
    static bool is(std::optional<qint64> value, Name name) {
        return value == static_cast<qint64>(name);
    }
    /// States that end the session.
    static bool endsSession(std::optional<qint64> state);
    /// "ret" 0 and state 0: the session is good.
    static bool confirms(const QJsonObject& answer) {
        return ret(answer) == 0 && is(state(answer), ServerState::Valid);
    }
    /// Whether the answer claims a sign-in: "ret" 0, state 0 and a ticket.
    static bool grantsSession(const QJsonObject& answer);
    /// What it grants; nothing for an answer that claims a sign-in and lacks a usable user id or ticket. A whole number
    /// as user id is its text.
    static std::optional<GrantedSession> grantedSession(const QJsonObject& answer);

    /// Key of the text for a state from -8 to -2 in which the server keeps a user out; empty for any other.
    static QString stateKey(std::optional<qint64> state);

    /// The failure of an answer that says nothing usable, with a text for the person.
    static Platform::Error unusable();
    /// The failure of a sign-in that the server granted and this computer could not store.
    static Platform::Error notStored();
    /// Whether @p error is one of these two: the server has answered, and nobody is signed in by it.
    static bool isNoSignIn(const Platform::Error& error);
};
