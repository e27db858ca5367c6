#pragma once

#include "AccountModel.h"
#include "ServerAnswer.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>
#include <variant>

/// The session as a value: what is known of it, what can happen to it, and what follows. No clock, file or network.

/// Who is signed in, as far as this client knows.
enum class SessionState {
    /// No record, or one that proves no sign-in.
    SignedOut,
    /// A record that the server has not confirmed since this process has known it: at the start, and when somebody else
    /// has put it in place.
    Unconfirmed,
    /// The server's last word on this very record was good.
    Confirmed,
    /// The person has signed out and the server does not know yet.
    LogoutPending,
    /// A session of the computer's domain: no ticket, nothing to confirm.
    Domain,
};

/// Why the session changed, for whoever tells the person.
enum class SessionReason {
    /// Nothing did.
    None,
    /// Something that no window tells: a confirmation, another ticket, a sign-out that waits for the network, another
    /// network, what another process has written.
    Changed,
    SignedIn,
    SignedOut,
    /// The server ended the session.
    EndedByServer,
    /// The agent found the ticket timed out.
    TimedOut,
    DomainSignedIn,
};

/// The session at the moment of a question. An answer acts only on that session.
struct AskedFor {
    /// Counts sign-ins, the person's sign-outs and what another process does; 0 while this process has known none.
    quint64 signIn = 0;
    /// Counts tickets as well, and their ends.
    quint64 ticket = 0;

    bool operator==(const AskedFor&) const = default;
};

/// What is known of the session; its state follows from it.
struct SessionModel {
    std::optional<AccountModel> record;
    /// The server has confirmed this sign-in since this process has known it.
    bool isConfirmed = false;
    AskedFor asked;
    /// Tickets that this process has seen replaced or ended, the latest last: a record with one of them is an old copy.
    QStringList spent = {};
    /// Password changes under way: the server ends the old ticket before it answers with the new one.
    int changes = 0;

    /// A record with a user id and a ticket, or one of a domain session.
    bool isSignedIn() const;
    /// The sign-in that ticket service and VPN are kept up for; 0 for nobody and after a sign-out, reported or not.
    quint64 served() const;
    SessionState state() const;
};

/// An answer of the account sign-in or the password reset.
struct SignInAnswer {
    AskedFor asked;
    QJsonObject answer;
    /// The account sign-in also asks for the gateway policy.
    bool fetchesPolicy = false;
};
/// An answer of the poll of the QR sign-in.
struct QRAnswer {
    AskedFor asked;
    QJsonObject answer;
};
/// An answer of the ticket confirmation.
struct TicketAnswer {
    AskedFor asked;
    QJsonObject answer;
};
/// The outcome of a sign-out; no answer stands for no network.
struct LogoutAnswer {
    AskedFor asked;
    std::optional<QJsonObject> answer;
};
/// The server knows the user of the computer's domain.
struct DomainAnswer {
    AskedFor asked;
    QString userid;
    QString username;
    QString domainName;
};
/// The choice between intranet (0) and extranet (1).
struct NetworkTypeAnswer {
    AskedFor asked;
    qint64 type = 0;
};
/// The agent's word that the ticket has timed out.
struct TicketTimeOut {
    AskedFor asked;
};
/// A password change is about to be sent, or has had its answer, or none.
struct PasswordChange {
    bool isUnderWay = false;
};
/// The file holds another record than the one known.
struct RecordFound {
    std::optional<AccountModel> record;
};

using SessionEvent = std::variant<SignInAnswer, QRAnswer, TicketAnswer, LogoutAnswer, DomainAnswer, NetworkTypeAnswer,
    TicketTimeOut, PasswordChange, RecordFound>;

enum class SessionEffect {
    /// The new record goes to the file, or the file goes. What stands behind it happens only when that succeeded.
    Store,
    /// The agent is asked to load the user's policy.
    RequestUserPolicy,
    StartTicketService,
    CloseTicketService,
    StopVpn,
    /// The login block is told that somebody is signed in, or that nobody is any more.
    TellSignedIn,
    TellSignedOut,
    MakeSoleId,
    RemoveSoleId,
    FetchPolicy,
    FollowNetworkAccess,
};

struct SessionStep {
    SessionModel next;
    SessionReason reason = SessionReason::None;
    QList<SessionEffect> effects = {};
    /// The answer claims a sign-in and cannot be used: nothing follows, and the person is told.
    bool isUnusable = false;
};

/// What @p event makes of @p now. An event that concerns another session than @p now changes nothing.
SessionStep sessionStep(const SessionModel& now, const SessionEvent& event);
