#pragma once

#include "Error.h"
#include "ServerAnswer.h"

#include <QJsonObject>
#include <QString>

#include <optional>
#include <span>

/// What an answer means for the person in front of a page: decisions over values, no widget, no network.
///
/// A missing or wrong-typed "ret" is no result: nobody is signed in, and the person is told that the answer cannot be
/// used.

struct AnswerVerdict {
    enum class Show {
        Nothing,
        /// `text` is a key of the string table.
        Key,
        /// `text` is shown as it is.
        Text,
        /// The server wants a new password first.
        ResetPage,
        /// What was asked for is done: signed in, changed, signed out, sent. `text` is what else there is to tell.
        Done
    };
    Show show = Show::Nothing;
    QString text = {};
    /// The line for the log; empty when none is written.
    QString log = {};

    /// The words for the person; empty for none.
    QString told() const;
    bool operator==(const AnswerVerdict&) const = default;
};

/// How the place that asked reads its answer.
struct AnswerPlace {
    /// Which number of "data" decides when "ret" is 0. The server sends both on purpose: the session logic has the one,
    /// the edition's pages have the other.
    enum class Reads { Nothing, State, Status };
    struct CodeText {
        ServerErrorCode code;
        const char16_t* key;
    };

    Reads reads = Reads::Nothing;
    /// What the log calls the operation; empty: no lines.
    QString logName = {};
    bool logsSuccess = false;
    /// Errorcode 20 leads to the page for a new password.
    bool opensResetPage = false;
    /// Key of the text for an answer that is no JSON; empty for the error's own.
    QString notJsonKey = {};
    /// Keys of the texts for codes; the server's own words for any other.
    std::span<const CodeText> codes = {};
    /// They count with "ret" -1 only.
    bool codesNeedMinusOne = false;
    /// Changes the password, which stays changed although the session that comes of it cannot be stored.
    bool changesPassword = false;

    static const AnswerPlace LoginPage;
    static const AnswerPlace LoginWindow;
    static const AnswerPlace ResetPage;
    static const AnswerPlace ResetInLoginWindow;
    static const AnswerPlace PasswordSheet;
    static const AnswerPlace RetrievalPage;
    static const AnswerPlace LogoutMenu;
    static const AnswerPlace LogoutInLoginWindow;
};

AnswerVerdict judgeAnswer(const QJsonObject& answer, const Platform::Error& error, const AnswerPlace& place);

/// What a state of the QR sign-in shows under the code.
struct QRStateLook {
    /// Empty: the text stays.
    QString text = {};
    bool hint = false;
    /// The sign-in is complete.
    bool isDone = false;

    bool operator==(const QRStateLook&) const = default;
};
QRStateLook qrStateLook(qint64 state);

/// One poll of the QR sign-in.
struct QRPollVerdict {
    /// The state that the login window is told; nothing when it is told nothing.
    std::optional<qint64> forwarded = {};
    /// What the person is told of an answer that cannot be used; empty otherwise.
    QString tells = {};
    QString log = {};
    int logType = 1;

    bool operator==(const QRPollVerdict&) const = default;
};
QRPollVerdict judgeQRPoll(const QJsonObject& answer, const Platform::Error& error);

/// The line that each place writes for an answer to a ticket poll.
QString ticketPollLine(const QJsonObject& answer, const Platform::Error& error);
