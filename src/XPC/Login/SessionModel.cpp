#include "SessionModel.h"

namespace {

using Effect = SessionEffect;

/// Whoever writes an old copy has read it a moment before.
constexpr qsizetype MostSpent = 64;

bool isDomain(const std::optional<AccountModel>& record) {
    return record && record->loginType() == static_cast<qint64>(LoginType::Domain);
}

/// The same sign-in with the same ticket; what else a record holds may differ.
bool isSameSession(const std::optional<AccountModel>& one, const std::optional<AccountModel>& other) {
    if (!one || !other)
        return !one && !other;
    return one->userid() == other->userid() && one->decryptTicket() == other->decryptTicket() &&
        one->loginType() == other->loginType();
}

/// Another sign-in, or none, from here on.
SessionModel begun(const SessionModel& now, std::optional<AccountModel> record, bool isConfirmed) {
    return {.record = std::move(record),
        .isConfirmed = isConfirmed,
        .asked = {.signIn = now.asked.signIn + 1, .ticket = now.asked.ticket + 1},
        .spent = now.spent,
        .changes = now.changes};
}

/// Nobody from here on, though not by the person's wish: a sign-in that was asked for meanwhile still counts.
SessionModel over(const SessionModel& now) {
    return {.record = {},
        .asked = {.signIn = now.asked.signIn, .ticket = now.asked.ticket + 1},
        .spent = now.spent,
        .changes = now.changes};
}

AccountModel newRecord(const GrantedSession& granted, LoginType type) {
    AccountModel record;
    record.setUsername(granted.username);
    record.setUserid(granted.userid);
    record.setTicket(granted.ticket);
    record.setLoginType(type);
    return record;
}

/// The server's word that the session is over. A domain session is never ended this way.
SessionStep ended(const SessionModel& now) {
    if (!now.record || isDomain(now.record))
        return {now};
    // The old ticket's end belongs to the change; where it does not, the next poll says so again.
    if (now.changes > 0)
        return {now};
    SessionStep step{.next = over(now),
        .reason = SessionReason::EndedByServer,
        .effects = {Effect::Store, Effect::StopVpn, Effect::MakeSoleId, Effect::TellSignedOut}};
    if (now.state() == SessionState::LogoutPending) {
        // What the person wanted; the sign-out is complete now.
        step.reason = SessionReason::SignedOut;
        step.effects << Effect::CloseTicketService;
    }
    return step;
}

/// The sign-in that @p answer claims; nothing follows from one that claims none or cannot be used.
SessionStep signedIn(const SessionModel& now, const QJsonObject& answer, LoginType type, Effect last) {
    const auto granted = ServerAnswer::grantedSession(answer);
    if (!granted)
        return {.next = now, .isUnusable = ServerAnswer::grantsSession(answer)};
    return {.next = begun(now, newRecord(*granted, type), true),
        .reason = SessionReason::SignedIn,
        .effects = {Effect::Store, Effect::RequestUserPolicy, Effect::StartTicketService, Effect::TellSignedIn, last}};
}

SessionStep happened(const SessionModel& now, const SignInAnswer& event) {
    // Another ticket of the session before does not concern a new sign-in; another sign-in, or its end, does.
    if (event.asked.signIn != now.asked.signIn)
        return {now};
    SessionStep step = signedIn(now, event.answer, LoginType::Account, Effect::RemoveSoleId);
    if (event.fetchesPolicy && step.reason == SessionReason::SignedIn)
        step.effects << Effect::FetchPolicy;
    return step;
}

SessionStep happened(const SessionModel& now, const QRAnswer& event) {
    if (event.asked.signIn != now.asked.signIn || ServerAnswer::ret(event.answer) != 0)
        return {now};
    if (ServerAnswer::endsSession(ServerAnswer::state(event.answer)))
        return event.asked == now.asked ? ended(now) : SessionStep{now};
    return signedIn(now, event.answer, LoginType::QrCode, Effect::FollowNetworkAccess);
}

/// The record with the ticket that the answer brings; nothing when it brings none, or the one there is.
std::optional<AccountModel> renewed(const AccountModel& before, const QJsonObject& answer) {
    const auto granted = ServerAnswer::grantedSession(answer);
    if (!granted || granted->ticket == before.decryptTicket())
        return std::nullopt;
    AccountModel record = newRecord(*granted, LoginType::Account);
    // A sign-out that is still to be reported outlives the ticket it was asked with.
    record.setIslogout(before.islogout());
    return record;
}

SessionStep happened(const SessionModel& now, const TicketAnswer& event) {
    if (event.asked != now.asked || !now.record)
        return {now};
    const auto ret = ServerAnswer::ret(event.answer);
    // An answer without a result says nothing, so it ends nobody's session.
    if (!ret)
        return {now};
    if (*ret != 0 || ServerAnswer::endsSession(ServerAnswer::state(event.answer)))
        return ended(now);
    if (!ServerAnswer::confirms(event.answer))
        return {now};
    SessionStep step{.next = now,
        .reason = now.isConfirmed ? SessionReason::None : SessionReason::Changed,
        .effects = {Effect::FetchPolicy, Effect::TellSignedIn}};
    step.next.isConfirmed = true;
    if (const auto record = renewed(*now.record, event.answer)) {
        step.next.record = record;
        ++step.next.asked.ticket;
        step.reason = SessionReason::Changed;
        step.effects << Effect::Store;
    }
    return step;
}

/// The wish to sign out is kept with the record, until the server has heard of it.
SessionStep pending(const SessionModel& now) {
    if (!now.record || now.record->islogout() == 1)
        return {now};
    // A sign-in that was asked for before, such as a reset, does not take it back.
    SessionStep step{
        .next = begun(now, now.record, now.isConfirmed), .reason = SessionReason::Changed, .effects = {Effect::Store}};
    step.next.record->setIslogout(1);
    return step;
}

SessionStep happened(const SessionModel& now, const LogoutAnswer& event) {
    if (event.asked.signIn != now.asked.signIn || !now.record)
        return {now};
    // One that was sent with a ticket of before ended nothing; the wish is what it leaves.
    if (!event.answer || event.asked != now.asked)
        return !event.answer || ServerAnswer::ret(*event.answer) == 0 ? pending(now) : SessionStep{now};
    if (ServerAnswer::ret(*event.answer) != 0)
        return {now};
    return {.next = begun(now, std::nullopt, false),
        .reason = SessionReason::SignedOut,
        .effects = {
            Effect::StopVpn, Effect::Store, Effect::MakeSoleId, Effect::CloseTicketService, Effect::TellSignedOut}};
}

SessionStep happened(const SessionModel& now, const DomainAnswer& event) {
    // Somebody who has signed in meanwhile stays.
    if (event.asked != now.asked || now.record)
        return {now};
    AccountModel record;
    record.setUserid(event.userid);
    record.setUsername(event.username);
    record.setLoginType(LoginType::Domain);
    record.setDomainName(event.domainName);
    return {.next = begun(now, record, false), .reason = SessionReason::DomainSignedIn, .effects = {Effect::Store}};
}

SessionStep happened(const SessionModel& now, const NetworkTypeAnswer& event) {
    if (event.asked != now.asked || !now.record || now.record->networkType() == event.type)
        return {now};
    SessionStep step{.next = now, .reason = SessionReason::Changed, .effects = {Effect::Store}};
    step.next.record->setNetworkType(event.type);
    return step;
}

SessionStep happened(const SessionModel& now, const TicketTimeOut& event) {
    if (event.asked != now.asked || !now.record)
        return {now};
    return {.next = over(now),
        .reason = SessionReason::TimedOut,
        .effects = {Effect::Store, Effect::MakeSoleId, Effect::StopVpn}};
}

SessionStep happened(const SessionModel& now, const PasswordChange& event) {
    SessionStep step{now};
    step.next.changes += event.isUnderWay ? 1 : -1;
    return step;
}

/// The agent has read the record some time ago and notes its own: the newer ticket stays, or that there is none.
SessionStep keptOver(const SessionModel& now, const AccountModel& copy) {
    SessionStep step{.next = now, .reason = SessionReason::Changed};
    // That the older ticket has timed out says nothing of the newer one.
    if (step.next.record && copy.ticket_state() != static_cast<qint64>(TicketState::TimedOut))
        step.next.record->setTicket_state(copy.ticket_state());
    return step;
}

SessionStep happened(const SessionModel& now, const RecordFound& event) {
    if (!isSameSession(now.record, event.record) && event.record && now.spent.contains(event.record->decryptTicket()))
        return keptOver(now, *event.record);
    if (!isSameSession(now.record, event.record))
        return {.next = begun(now, event.record, false), .reason = SessionReason::Changed};
    // The agent's own notes in the record, such as the ticket's state, leave the session what it is.
    SessionStep step{.next = now, .reason = SessionReason::Changed};
    const bool isPending = now.state() == SessionState::LogoutPending;
    step.next.record = event.record;
    // It may have read the record before the person signed out.
    if (isPending)
        step.next.record->setIslogout(1);
    return step;
}

} // namespace

bool SessionModel::isSignedIn() const {
    return isDomain(record) || (record && !record->userid().isNull() && !record->ticket().isEmpty());
}

quint64 SessionModel::served() const {
    return isSignedIn() && state() != SessionState::LogoutPending ? asked.signIn : 0;
}

SessionState SessionModel::state() const {
    if (!isSignedIn())
        return SessionState::SignedOut;
    if (isDomain(record))
        return SessionState::Domain;
    if (record->islogout() == 1)
        return SessionState::LogoutPending;
    return isConfirmed ? SessionState::Confirmed : SessionState::Unconfirmed;
}

SessionStep sessionStep(const SessionModel& now, const SessionEvent& event) {
    SessionStep step = std::visit([&now](const auto& each) { return happened(now, each); }, event);
    // What another process takes away it may put back.
    const bool isSpent = now.record && now.record != step.next.record && !isDomain(now.record) &&
        !std::holds_alternative<RecordFound>(event) && !isSameSession(now.record, step.next.record);
    if (isSpent)
        step.next.spent << now.record->decryptTicket();
    if (step.next.spent.size() > MostSpent)
        step.next.spent.removeFirst();
    return step;
}
