// Answers of the server, from the bytes to what is stored: nobody is signed in by less than a user and a ticket, and
// every record and policy is read again as it was written.

#include "AnswerVerdict.h"
#include "Fuzzing.h"
#include "HttpAnswer.h"
#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "LogRedaction.h"
#include "SealedBody.h"
#include "SessionModel.h"

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

std::optional<ArchiveValue> writtenAndRead(const ArchiveValue& value) {
    const QByteArray bytes = Platform::KeyedArchiver::archivedData(value);
    return bytes.isEmpty() ? value
                           : Platform::KeyedUnarchiver::unarchivedObject(bytes, Platform::AllowedClasses::any());
}

void tellPerson(const QJsonObject& answer, const Platform::Error& error) {
    for (const AnswerPlace& place : {AnswerPlace::LoginPage, AnswerPlace::LoginWindow, AnswerPlace::ResetPage,
             AnswerPlace::ResetInLoginWindow, AnswerPlace::PasswordSheet, AnswerPlace::RetrievalPage,
             AnswerPlace::LogoutMenu, AnswerPlace::LogoutInLoginWindow}) {
        const AnswerVerdict verdict = judgeAnswer(answer, error, place);
        require(!error || verdict.show != AnswerVerdict::Show::Done, "done by a failure");
    }
    judgeQRPoll(answer, error);
    ticketPollLine(answer, error);
    redacted(answer);
}

void happen(const SessionModel& now, const QJsonObject& answer) {
    const SessionEvent events[] = {SignInAnswer{now.asked, answer, true}, QRAnswer{now.asked, answer},
        TicketAnswer{now.asked, answer}, LogoutAnswer{now.asked, answer}};
    for (const SessionEvent& event : events) {
        const SessionStep step = sessionStep(now, event);
        require(step.reason != SessionReason::SignedIn || step.next.isSignedIn(), "signed in by nothing");
        if (!step.next.record)
            continue;
        const auto stored = writtenAndRead(step.next.record->encoded());
        require(stored && AccountModel::decoded(*stored) == step.next.record, "a record is read as something else");
    }
}

} // namespace

void fuzz(const QByteArray& input) {
    QJsonObject answer;
    tellPerson(answer, Platform::parseJsonAnswer(input, &answer));
    SessionModel now;
    happen(now, answer);
    now.record.emplace();
    now.record->setUserid(u"u1"_s);
    now.record->setTicket(u"t1"_s);
    happen(now, answer);
    const auto policy =
        ArchiveValue::fromJson(SealedBody::opened(answer, {"data"_L1, "office_data"_L1})).asDeeplyMutable();
    require(writtenAndRead(policy) == policy, "a policy is read as something else");
}
