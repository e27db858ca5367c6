#pragma once

#include "Error.h"
#include "IntegerValue.h"

#include <QJsonObject>
#include <QString>

#include <optional>

/// The words of the server's answers, each with its meaning, and the one way to read them.

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

namespace ServerAnswer {

/// The answer's result: 0 is success. Nothing when it does not say, which is neither success nor failure.
std::optional<qint64> ret(const QJsonObject& answer);
/// Empty when it is missing or no object.
QJsonObject data(const QJsonObject& answer);
/// As the session reads it.
std::optional<qint64> state(const QJsonObject& answer);
/// As the views read it.
std::optional<qint64> status(const QJsonObject& answer);
std::optional<qint64> errorcode(const QJsonObject& answer);
/// The server's own words; empty when it sent none.
QString msg(const QJsonObject& answer);
/// A number, or "(null)", for the log.
QString logged(std::optional<qint64> number);
/// "msg" as the log may show it.
QString loggedMsg(const QJsonObject& answer);

bool is(std::optional<qint64> value, ServerState state);
bool is(std::optional<qint64> value, ServerErrorCode code);
/// States that end the session.
bool endsSession(std::optional<qint64> state);
/// "ret" 0 and state 0: the session is good.
bool confirms(const QJsonObject& answer);
/// Whether the answer claims a sign-in: "ret" 0, state 0 and a ticket.
bool grantsSession(const QJsonObject& answer);
/// What it grants; nothing for an answer that claims a sign-in and lacks a usable user id. A number is its text.
std::optional<GrantedSession> grantedSession(const QJsonObject& answer);

/// Key of the text for a state from -8 to -2 in which the server keeps a user out; empty for any other.
QString stateKey(std::optional<qint64> state);

/// The failure of an answer that says nothing usable, with a text for the person.
Platform::Error unusable();
/// The failure of a sign-in that the server granted and this computer could not store.
Platform::Error notStored();
/// Whether @p error is one of these two: the server has answered, and nobody is signed in by it.
bool isNoSignIn(const Platform::Error& error);

} // namespace ServerAnswer
