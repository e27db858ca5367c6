#pragma once

#include "Error.h"

#include <QJsonObject>
#include <QString>

#include <optional>

/// What the session's states and answers mean for the login window and the left bar: decisions over values.
///
/// A missing or wrong-typed "ret" or "state" is no value: it signs nobody in and prints as "(null)".

/// What a state of the QR sign-in shows under the code.
struct QRStateLook {
    /// Empty: the text stays.
    QString text;
    bool hint = false;
    /// The sign-in is complete.
    bool isDone = false;

    bool operator==(const QRStateLook&) const = default;
};
QRStateLook qrStateLook(qint64 state);

struct DetailVerdict {
    enum class Show {
        Nothing,
        /// `text` is a key of the string table.
        Key,
        /// `text` is shown as it is.
        Text,
        /// The server wants a new password first.
        ResetPage,
        SignedIn
    };
    Show show = Show::Nothing;
    QString text;
    /// The line for the log; empty when none is written.
    QString log;

    bool operator==(const DetailVerdict&) const = default;
};
/// An answer of the account login, read by its "state".
DetailVerdict judgeAccountAnswer(const QJsonObject& answer, const Platform::Error& error);
/// An answer of the password reset. A demand for a new password is a refusal like any other here.
DetailVerdict judgeResetAnswer(const QJsonObject& answer, const Platform::Error& error);
/// An answer of the logout: SignedIn never comes, Nothing means signed out.
DetailVerdict judgeDetailLogoutAnswer(const QJsonObject& answer, const Platform::Error& error);

/// One poll of the QR sign-in.
struct QRPollVerdict {
    /// The state that the login window is told; nothing when it is told nothing.
    std::optional<qint64> forwarded;
    QString log;
    int logType = 1;

    bool operator==(const QRPollVerdict&) const = default;
};
QRPollVerdict judgeQRPoll(const QJsonObject& answer, const Platform::Error& error);

/// One poll of the ticket.
struct TicketPollVerdict {
    bool isAnswered = false;
    /// The session is valid.
    bool isConfirmed = false;
    QString log;

    bool operator==(const TicketPollVerdict&) const = default;
};
TicketPollVerdict judgeTicketPoll(const QJsonObject& answer, const Platform::Error& error);
