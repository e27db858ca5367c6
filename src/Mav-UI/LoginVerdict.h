#pragma once

#include "Error.h"

#include <QJsonObject>
#include <QString>

#include <optional>

/// What an answer means for the person in front of the login page: decisions over values, no widget, no network.
///
/// A missing or wrong-typed "ret" or "status" is no value: nothing is shown and nobody is signed in.

struct LoginVerdict {
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

    bool operator==(const LoginVerdict&) const = default;
};

/// An answer of the account login.
LoginVerdict judgeLoginAnswer(const QJsonObject& answer, const Platform::Error& error);

/// The part that login and password answers share: "status" of "data" when "ret" is 0. 0 gives SignedIn.
LoginVerdict judgeStatus(const QJsonObject& answer);

struct RetrievalVerdict {
    enum class Show { Nothing, Key, Text, MailSent };
    Show show = Show::Nothing;
    /// Key, text, or the address that the mail went to.
    QString text;

    bool operator==(const RetrievalVerdict&) const = default;
};

/// An answer of the password retrieval.
RetrievalVerdict judgeRetrievalAnswer(const QJsonObject& answer, const Platform::Error& error);

/// A ticket answer that says the session is valid.
bool confirmsTicket(const QJsonObject& answer);

/// An answer of the logout: nothing when the user is signed out, else the message to show.
struct LogoutVerdict {
    bool signedOut = false;
    QString message;
};
LogoutVerdict judgeLogoutAnswer(const QJsonObject& answer, const Platform::Error& error);
