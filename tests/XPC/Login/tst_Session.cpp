#include "AccountModel.h"
#include "Session.h"

#include <QCoreApplication>
#include <QFile>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <chrono>
#include <future>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QJsonObject granting(const QString& user, const QString& ticket) {
    return {{"ret", 0}, {"data", QJsonObject{{"state", 0}, {"userid", user}, {"ticket", ticket}}}};
}

QJsonObject stating(int state) {
    return {{"ret", 0}, {"data", QJsonObject{{"state", state}}}};
}

AccountModel recordOf(const QString& user, const QString& ticket) {
    AccountModel record;
    record.setUserid(user);
    record.setTicket(ticket);
    record.setLoginType(LoginType::Account);
    return record;
}

/// Plays the session against a server, an agent and a person that act in random order. Answers come early, late, twice
/// and out of order; what the session knows is kept beside what the world knows.
class Play {
public:
    explicit Play(quint32 seed) : m_random(seed) {}

    void step() {
        using Act = void (Play::*)();
        static constexpr std::array<Act, 18> Acts{&Play::askNetworkType, &Play::changePassword, &Play::stammer,
            &Play::askSignIn, &Play::askSignIn, &Play::askTicket, &Play::askTicket, &Play::askTicket, &Play::askLogout,
            &Play::askQR, &Play::askDomain, &Play::serverEnds, &Play::agentWrites, &Play::agentWritesAnOldCopy,
            &Play::deliver, &Play::deliver, &Play::deliver, &Play::kill};
        (this->*Acts[m_random.bounded(quint32(Acts.size()))])();
        check();
    }
    /// Every answer comes, and the poll that reports a sign-out has its turn.
    void settle() {
        while (!m_pending.isEmpty())
            deliverOne(0);
        for (int i = 0; i < 3 && m_model.state() == SessionState::LogoutPending; ++i) {
            m_network = true;
            askQR();
            while (!m_pending.isEmpty())
                deliverOne(0);
        }
        if (m_model.isSignedIn()) {
            m_network = true;
            askTicket();
            while (!m_pending.isEmpty())
                deliverOne(0);
        }
        check();
        QCOMPARE(m_model.changes, 0);
        // All agree: who is signed in here has a session there.
        QVERIFY2(m_model.state() != SessionState::LogoutPending, "a sign-out was forgotten");
        QVERIFY2(m_model.state() != SessionState::Unconfirmed, "nobody confirmed");
        if (m_model.state() == SessionState::Confirmed)
            QCOMPARE(m_model.record->decryptTicket(), m_serverTicket);
        if (m_model.state() == SessionState::SignedOut) {
            QVERIFY2(!m_vpnMayRun, "the VPN runs for nobody");
            QVERIFY2(!m_serviceMayRun || !m_signedOutByPerson, "the ticket service runs after a sign-out");
        }
    }
    const SessionModel& model() const { return m_model; }

private:
    struct Pending {
        SessionEvent event;
        int copies;
        bool endsChange = false;
    };

    bool chance(quint32 oneIn) { return m_random.bounded(oneIn) == 0; }
    QString newTicket() { return u"T%1"_s.arg(++m_tickets); }
    void send(SessionEvent event) { m_pending.append({std::move(event), chance(8) ? 2 : 1}); }

    void askSignIn() {
        if (chance(4)) {
            // Refused, whatever else the answer says.
            QJsonObject answer = granting(u"lin"_s, newTicket());
            answer.insert(u"ret"_s, -1);
            send(SignInAnswer{m_model.asked, chance(2) ? answer : QJsonObject{}, true});
            return;
        }
        m_serverTicket = newTicket();
        send(SignInAnswer{m_model.asked, granting(u"lin"_s, m_serverTicket), true});
    }
    /// The server ends the old ticket before its answer arrives, or there is no answer.
    void changePassword() {
        if (!m_model.record || m_model.state() == SessionState::Domain)
            return;
        const AskedFor asked = m_model.asked;
        apply(PasswordChange{true});
        if (chance(3)) {
            send(PasswordChange{false});
            m_pending.last().copies = 1;
            return;
        }
        m_serverTicket = newTicket();
        send(SignInAnswer{asked, granting(u"lin"_s, m_serverTicket), false});
        m_pending.last().endsChange = true;
    }
    void askTicket() {
        if (!m_model.isSignedIn())
            return;
        if (m_model.state() == SessionState::Domain) {
            send(TicketAnswer{m_model.asked, stating(-7)});
            return;
        }
        if (!m_network && chance(2))
            return;
        const QString ticket = m_model.record->decryptTicket();
        if (ticket != m_serverTicket) {
            send(TicketAnswer{m_model.asked, chance(2) ? stating(-7) : QJsonObject{{"ret", 9}}});
        } else if (chance(6)) {
            m_serverTicket = newTicket();
            send(TicketAnswer{m_model.asked, granting(u"lin"_s, m_serverTicket)});
        } else {
            send(TicketAnswer{m_model.asked, granting(u"lin"_s, ticket)});
        }
    }
    void askLogout() {
        if (!m_model.record)
            return;
        m_network = !chance(3);
        if (!m_network) {
            send(LogoutAnswer{m_model.asked, std::nullopt});
            return;
        }
        if (m_model.record->decryptTicket() == m_serverTicket)
            m_serverTicket.clear();
        send(LogoutAnswer{m_model.asked, QJsonObject{{"ret", 0}}});
    }
    void askQR() {
        if (m_model.state() == SessionState::LogoutPending) {
            m_serverTicket.clear();
            send(QRAnswer{m_model.asked, stating(-2)});
        } else if (m_model.state() != SessionState::Domain && chance(8)) {
            send(QRAnswer{m_model.asked, stating(-2)});
        } else if (chance(4)) {
            m_serverTicket = newTicket();
            send(QRAnswer{m_model.asked, granting(u"wang"_s, m_serverTicket)});
        } else {
            send(QRAnswer{m_model.asked, stating(-1)});
        }
    }
    /// The server says nothing usable, or refuses, beside data that would sign in, end or confirm.
    void stammer() {
        QJsonObject answer = chance(2) ? granting(u"lin"_s, newTicket()) : stating(chance(2) ? -7 : 0);
        answer.remove(u"ret"_s);
        if (chance(2)) {
            send(TicketAnswer{m_model.asked, answer});
            return;
        }
        if (chance(2))
            answer.insert(u"ret"_s, 5);
        if (chance(2))
            send(QRAnswer{m_model.asked, answer});
        else
            send(LogoutAnswer{m_model.asked, answer});
    }
    void askNetworkType() { send(NetworkTypeAnswer{m_model.asked, chance(2)}); }
    void askDomain() { send(DomainAnswer{m_model.asked, u"lisi"_s, u"李四"_s, u"CORP"_s}); }
    void serverEnds() {
        if (chance(4))
            m_serverTicket.clear();
    }
    void agentWrites() {
        std::optional<AccountModel> record = m_model.record;
        if (!record || chance(6)) {
            if (!chance(3))
                return;
            record = record ? std::nullopt : std::optional(recordOf(u"other"_s, newTicket()));
        } else {
            record->setTicket_state(chance(2) ? 2 : 1);
        }
        // Whoever takes the record away sees to the rest.
        if (!record)
            m_vpnMayRun = false;
        apply(RecordFound{record});
        if (record && record->ticket_state() == 2)
            send(TicketTimeOut{m_model.asked});
    }
    /// It has read the record some time ago, may keep the ticket as plain text, and notes its own.
    void agentWritesAnOldCopy() {
        if (m_copies.isEmpty())
            return;
        AccountModel copy = m_copies[m_random.bounded(m_copies.size())];
        copy.setTicket_state(1 + qint64(m_random.bounded(2)));
        apply(RecordFound{copy});
    }
    void kill() {
        if (!chance(3))
            return;
        // What is on disk is what the next run knows, and no answer to this one reaches it.
        m_pending.clear();
        m_copies.clear();
        m_gone.clear();
        m_model = {.record = m_model.record, .isConfirmed = false, .asked = {}};
        m_generation = {};
    }
    void deliver() {
        if (!m_pending.isEmpty())
            deliverOne(m_random.bounded(m_pending.size()));
    }
    void deliverOne(qsizetype index) {
        Pending& pending = m_pending[index];
        const Pending one = pending;
        const bool isLast = --pending.copies == 0;
        if (isLast)
            m_pending.removeAt(index);
        apply(one.event);
        if (isLast && one.endsChange)
            apply(PasswordChange{false});
    }

    void apply(const SessionEvent& event) {
        const SessionModel before = m_model;
        const SessionStep step = sessionStep(before, event);
        // The same event once more, on what it has made, changes nothing again.
        m_model = step.next;
        for (const SessionEffect effect : step.effects)
            take(effect, step.reason);
        const bool isFound = std::holds_alternative<RecordFound>(event);
        if (!isFound && ticketOf(before) != ticketOf(m_model))
            m_gone << ticketOf(before);
        m_gone.remove(QString());
        QVERIFY2(!m_gone.contains(ticketOf(m_model)), "an older ticket came back");
        if (m_model.record && !m_copies.contains(*m_model.record))
            m_copies << *m_model.record;
        if (m_copies.size() > MostCopies)
            m_copies.removeFirst();
        checkEffects(before, step, isFound);
        QVERIFY2(ticketOf(before) == ticketOf(m_model) || before.asked.ticket != m_model.asked.ticket,
            "another ticket under the same number");
        const bool isWish = before.state() == SessionState::LogoutPending;
        QVERIFY2(!isWish || !m_model.record || m_model.record->islogout() == 1 ||
                before.asked.signIn != m_model.asked.signIn,
            "the wish to sign out was lost");
        if (saysNothing(event))
            QVERIFY2(before.asked == m_model.asked && step.effects.isEmpty(), "an unusable answer did something");
        const bool isTold = before.asked.signIn == m_model.asked.signIn || step.reason != SessionReason::None;
        QVERIFY2(isTold, "a session changed without a reason");
        // A sign-in and a sign-out also concern the next ticket; every other answer is about the one it was sent with.
        const bool isAboutTicket = !std::holds_alternative<SignInAnswer>(event) &&
            !std::holds_alternative<LogoutAnswer>(event) && step.reason != SessionReason::SignedIn;
        const AskedFor asked = askedOf(event);
        if (!std::holds_alternative<RecordFound>(event) &&
            (asked.signIn != before.asked.signIn || (isAboutTicket && asked != before.asked)))
            QVERIFY2(before.asked == m_model.asked && step.effects.isEmpty(), "an old answer did something");
    }
    /// What every change owes the file, the agent, the services and the person, whatever brought it about.
    static void checkEffects(const SessionModel& before, const SessionStep& step, bool isFound) {
        using Effect = SessionEffect;
        const auto& effects = step.effects;
        for (const Effect effect : effects)
            QVERIFY2(effects.count(effect) == 1, "an effect is carried out twice");
        if (isFound)
            return;
        QVERIFY2(effects.contains(Effect::Store) == !isSameRecord(before.record, step.next.record),
            "the file does not say what the session does");
        if (step.reason == SessionReason::SignedIn) {
            QVERIFY2(effects.first() == Effect::Store, "something follows from a sign-in that may not be stored");
            for (const Effect effect : {Effect::RequestUserPolicy, Effect::StartTicketService, Effect::TellSignedIn})
                QVERIFY2(effects.contains(effect), "a sign-in without all that belongs to it");
        }
        QVERIFY2(before.changes == 0 || step.reason != SessionReason::EndedByServer,
            "a session ended over the change of its own password");
        QVERIFY2(step.reason != SessionReason::DomainSignedIn || !before.record, "a domain session over another");
        if (before.record && !step.next.record) {
            QVERIFY2(effects.contains(Effect::StopVpn) && effects.contains(Effect::MakeSoleId),
                "an end without all that belongs to it");
            QVERIFY2(effects.contains(Effect::TellSignedOut) == (step.reason != SessionReason::TimedOut),
                "the login block does not hear of an end");
            QVERIFY2(effects.contains(Effect::CloseTicketService) == (step.reason == SessionReason::SignedOut),
                "a sign-out leaves the ticket service");
            QVERIFY2(before.state() != SessionState::Domain || step.reason != SessionReason::EndedByServer,
                "the server ended a domain session");
        }
    }
    static QString ticketOf(const SessionModel& model) {
        return model.record && model.state() != SessionState::Domain ? model.record->decryptTicket() : QString();
    }
    static bool isSameRecord(const std::optional<AccountModel>& one, const std::optional<AccountModel>& other) {
        if (!one || !other)
            return !one && !other;
        return one->userid() == other->userid() && one->ticket() == other->ticket() &&
            one->loginType() == other->loginType() && one->islogout() == other->islogout() &&
            one->networkType() == other->networkType();
    }
    /// A refusal ends a session when the ticket was asked about; all else wants a success.
    static bool saysNothing(const SessionEvent& event) {
        if (const auto* ticket = std::get_if<TicketAnswer>(&event))
            return !ServerAnswer::ret(ticket->answer);
        if (const auto* qr = std::get_if<QRAnswer>(&event))
            return ServerAnswer::ret(qr->answer) != 0;
        const auto* logout = std::get_if<LogoutAnswer>(&event);
        return logout && logout->answer && ServerAnswer::ret(*logout->answer) != 0;
    }
    static AskedFor askedOf(const SessionEvent& event) {
        return std::visit(
            [](const auto& each) {
                if constexpr (requires { each.asked; })
                    return each.asked;
                else
                    return AskedFor();
            },
            event);
    }
    void take(SessionEffect effect, SessionReason reason) {
        switch (effect) {
        case SessionEffect::RequestUserPolicy:
            m_vpnMayRun = true;
            break;
        case SessionEffect::StopVpn:
            m_vpnMayRun = false;
            break;
        case SessionEffect::StartTicketService:
            m_serviceMayRun = true;
            m_signedOutByPerson = false;
            break;
        case SessionEffect::CloseTicketService:
            m_serviceMayRun = false;
            break;
        case SessionEffect::Store:
            if (reason == SessionReason::SignedOut)
                m_signedOutByPerson = true;
            break;
        default:
            break;
        }
    }
    void check() {
        if (m_model.record && m_model.state() != SessionState::Domain) {
            QVERIFY2(!m_model.record->userid().isEmpty(), "half a session");
            QVERIFY2(!m_model.record->decryptTicket().isEmpty(), "half a session");
        }
        QVERIFY2(!m_model.isConfirmed || m_model.record, "confirmed without a record");
        QVERIFY(m_model.asked.signIn >= m_generation.signIn && m_model.asked.ticket >= m_generation.ticket);
        m_generation = m_model.asked;
    }

    QRandomGenerator m_random;
    SessionModel m_model;
    AskedFor m_generation;
    QList<Pending> m_pending;
    static constexpr qsizetype MostCopies = 20;
    /// Records as the agent may have read them, and tickets that were replaced or ended.
    QList<AccountModel> m_copies;
    QSet<QString> m_gone;
    QString m_serverTicket;
    int m_tickets = 0;
    bool m_network = true;
    bool m_vpnMayRun = false;
    bool m_serviceMayRun = false;
    bool m_signedOutByPerson = false;
};

/// A session on a record, beside a copy of it that the agent has read before.
struct Stored {
    bool submitted(const SessionEvent& event) {
        QSemaphore done;
        session.submit(event, [&done](const Session::Outcome&) { done.release(); });
        return done.tryAcquire(1, 5000);
    }
    /// What the agent writes now.
    bool agentNotes(qint64 state) {
        old.setTicket_state(state);
        return old.save(folder.path());
    }
    std::optional<AccountModel> file() const { return AccountModel::currentModel(folder.path()); }

    QTemporaryDir folder;
    AccountModel old = recordOf(u"lin"_s, u"T0"_s);
    const bool isStored = old.save(folder.path());
    Session session{folder.path()};
};

} // namespace

/// The session: its model under random orders of events, and its file beside a second writer.
class tst_Session : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void randomOrders() {
        constexpr int Plays = 500;
        constexpr int Steps = 250;
        bool isGiven = false;
        quint32 seed = qEnvironmentVariable("MAV_SEED").toUInt(&isGiven);
        if (!isGiven)
            seed = QRandomGenerator::system()->generate();
        qInfo("MAV_SEED=%u, %d steps", seed, Plays * Steps);
        for (int i = 0; i < Plays; ++i) {
            Play play(seed + quint32(i));
            for (int step = 0; step < Steps && !QTest::currentTestFailed(); ++step)
                play.step();
            if (!QTest::currentTestFailed())
                play.settle();
            if (QTest::currentTestFailed())
                qFatal("play %d of seed %u", i, seed);
        }
    }

    void anAnswerActsOnItsOwnSession_data() {
        QTest::addColumn<int>("meanwhile");
        QTest::newRow("signed out") << 0;
        QTest::newRow("signed in as somebody else") << 1;
        QTest::newRow("another ticket") << 2;
    }
    void anAnswerActsOnItsOwnSession() {
        QFETCH(int, meanwhile);
        const auto after = [](const SessionModel& model, const SessionEvent& event) {
            return sessionStep(model, event).next;
        };
        SessionModel first = after({}, SignInAnswer{{}, granting(u"lin"_s, u"T1"_s), true});
        QCOMPARE(first.state(), SessionState::Confirmed);
        SessionModel now = first;
        if (meanwhile == 2) {
            now = after(first, TicketAnswer{first.asked, granting(u"lin"_s, u"T2"_s)});
        } else {
            now = after(first, LogoutAnswer{first.asked, QJsonObject{{"ret", 0}}});
            if (meanwhile == 1)
                now = after(now, SignInAnswer{now.asked, granting(u"wang"_s, u"T9"_s), true});
        }
        for (const SessionEvent& late : {SessionEvent(TicketAnswer{first.asked, stating(-7)}),
                 SessionEvent(TicketAnswer{first.asked, QJsonObject{{"ret", 9}}}),
                 SessionEvent(TicketAnswer{first.asked, granting(u"lin"_s, u"T3"_s)}),
                 SessionEvent(QRAnswer{first.asked, stating(-2)}), SessionEvent(NetworkTypeAnswer{first.asked, 0}),
                 SessionEvent(TicketTimeOut{first.asked})}) {
            const SessionStep step = sessionStep(now, late);
            QCOMPARE(step.effects, QList<SessionEffect>());
            QCOMPARE(step.next.asked, now.asked);
            QCOMPARE(step.next.state(), now.state());
        }
        // Only the wish to sign out outlives the ticket that it was asked with.
        const SessionStep out = sessionStep(now, LogoutAnswer{first.asked, QJsonObject{{"ret", 0}}});
        QCOMPARE(out.next.state(), meanwhile == 2 ? SessionState::LogoutPending : now.state());
        QCOMPARE(sessionStep(out.next, TicketAnswer{out.next.asked, granting(u"lin"_s, u"T4"_s)}).next.state(),
            out.next.state());
    }

    void aSignInCountsUnlessThePersonLeftSince_data() {
        QTest::addColumn<QList<SessionEvent>>("meanwhile");
        QTest::addColumn<bool>("counts");
        const AskedFor now{1, 1};
        using Events = QList<SessionEvent>;
        const SessionEvent offline = LogoutAnswer{now, std::nullopt};
        const AskedFor pending{2, 2};
        QTest::newRow("another ticket") << Events{TicketAnswer{now, granting(u"lin"_s, u"T2"_s)}} << true;
        QTest::newRow("ended by the server") << Events{TicketAnswer{now, stating(-7)}} << true;
        QTest::newRow("timed out") << Events{TicketTimeOut{now}} << true;
        QTest::newRow("signed out") << Events{LogoutAnswer{now, QJsonObject{{"ret", 0}}}} << false;
        QTest::newRow("signed out without a network") << Events{offline} << false;
        QTest::newRow("and reported") << Events{offline, QRAnswer{pending, stating(-2)}} << false;
    }
    void aSignInCountsUnlessThePersonLeftSince() {
        QFETCH(QList<SessionEvent>, meanwhile);
        SessionModel model = sessionStep({}, RecordFound{recordOf(u"lin"_s, u"T1"_s)}).next;
        const SignInAnswer before{model.asked, granting(u"lin"_s, u"T9"_s), true};
        SignInAnswer between = before;
        for (const SessionEvent& event : meanwhile) {
            between.asked = model.asked;
            const SessionStep step = sessionStep(model, event);
            QVERIFY(step.reason != SessionReason::None);
            model = step.next;
        }
        QTEST(sessionStep(model, before).reason == SessionReason::SignedIn, "counts");
        // One that was asked for after the wish to sign out counts, though that is reported only now.
        if (meanwhile.size() > 1)
            QCOMPARE(sessionStep(model, between).next.state(), SessionState::Confirmed);
    }

    void changesArriveOnTheMainThreadInOrder() {
        QTemporaryDir folder;
        Session session(folder.path());
        QList<QPair<SessionState, SessionState>> heard;
        connect(&session, &Session::changed, this, [&](SessionState old, SessionState now) {
            heard.append({old, now});
        });
        QSemaphore done;
        session.submit(SignInAnswer{session.asked(), granting(u"lin"_s, u"T"_s), false},
            [&done](const Session::Outcome&) { done.release(); });
        QVERIFY(done.tryAcquire(1, 5000));
        QVERIFY(session.isSignedIn());
        QCOMPARE(session.state(), SessionState::SignedOut); // not before the main thread has heard
        QCoreApplication::processEvents();
        QCOMPARE(session.state(), SessionState::Confirmed);
        QCOMPARE(session.account()->userid(), u"lin"_s);
        // Another process takes the record away.
        QVERIFY(AccountModel::deleteCurrentModel(folder.path()));
        QVERIFY(!session.isSignedIn());
        QTRY_COMPARE(heard.size(), 2);
        QCOMPARE(heard.last(), (QPair{SessionState::Confirmed, SessionState::SignedOut}));
    }

    void aRecordOfBeforeIsASignIn() {
        QTemporaryDir folder;
        QCOMPARE(Session(folder.path()).asked(), AskedFor());
        Stored stored;
        QCOMPARE(stored.session.state(), SessionState::Unconfirmed);
        // The watchdog takes 0 for nobody.
        QVERIFY(stored.session.asked().signIn != 0);
    }

    void theAgentsNotesSurviveTheClientsWrites() {
        Stored stored;
        // The agent writes the ticket's state all the time, the client its network type: neither loses the other's.
        std::atomic<bool> stop{false};
        std::atomic<int> written{0};
        std::thread agent([&] {
            while (!stop) {
                auto record = stored.file();
                if (!record)
                    continue;
                record->setTicket_state(written % 2 == 0 ? 3 : 4);
                written += record->save(stored.folder.path());
            }
        });
        QSemaphore done;
        for (int i = 0; i < 200; ++i)
            stored.session.submit(
                NetworkTypeAnswer{stored.session.asked(), i % 2}, [&done](const Session::Outcome&) { done.release(); });
        QVERIFY(done.tryAcquire(200, 60000));
        stop = true;
        agent.join();
        QVERIFY(written > 0);
        const auto record = stored.file();
        QVERIFY(record);
        QCOMPARE(record->decryptTicket(), u"T0"_s);
        QVERIFY(record->ticket_state() == 3 || record->ticket_state() == 4);
        QVERIFY(!QFile::exists(stored.folder.filePath(u"QenCloudL/login.archive.aside"_s)));
    }

    void theWishToSignOutSurvivesAnOldCopyOfTheRecord() {
        Stored stored;
        Session& session = stored.session;
        QVERIFY(session.current().served() != 0);
        QVERIFY(stored.submitted(LogoutAnswer{session.asked(), std::nullopt}));
        QCOMPARE(session.current().state(), SessionState::LogoutPending);
        QVERIFY2(session.current().served() == 0, "the watchdog works for somebody who has signed out");
        // The agent read the record before and writes its note now.
        QVERIFY(stored.agentNotes(1));
        QCOMPARE(session.current().state(), SessionState::LogoutPending);
        QVERIFY(stored.submitted(NetworkTypeAnswer{session.asked(), 1}));
        QCOMPARE(stored.file()->islogout(), 1);
        QCOMPARE(stored.file()->ticket_state(), 1);
    }

    void anOldCopyOfTheRecordBringsNoOldTicketBack_data() {
        QTest::addColumn<qint64>("note");
        QTest::addColumn<qint64>("kept");
        QTest::newRow("a note") << qint64(3) << qint64(3);
        // It speaks of the older ticket.
        QTest::newRow("a time-out") << qint64(TicketState::TimedOut) << qint64(TicketState::Valid);
    }
    void anOldCopyOfTheRecordBringsNoOldTicketBack() {
        QFETCH(qint64, note);
        QFETCH(qint64, kept);
        Stored stored;
        Session& session = stored.session;
        QVERIFY(stored.submitted(TicketAnswer{session.asked(), granting(u"lin"_s, u"T1"_s)}));
        const AskedFor asked = session.asked();
        QVERIFY(stored.agentNotes(note));
        QCOMPARE(session.current().record->decryptTicket(), u"T1"_s);
        QCOMPARE(session.current().record->ticket_state(), kept);
        QCOMPARE(session.asked(), asked);
        // The file follows without another event.
        QTRY_COMPARE(stored.file()->decryptTicket(), u"T1"_s);
        QCOMPARE(stored.file()->ticket_state(), kept);

        QVERIFY(stored.submitted(LogoutAnswer{session.asked(), QJsonObject{{"ret", 0}}}));
        QVERIFY(stored.agentNotes(note));
        QVERIFY(!session.isSignedIn());
        QTRY_VERIFY(!stored.file());
    }

    void aSignInThatCannotBeStoredIsNone() {
        QTemporaryDir folder;
        // A file in the folder's place keeps out even whoever may write everywhere.
        QFile block(folder.filePath(u"QenCloudL"_s));
        QVERIFY(block.open(QIODevice::WriteOnly));
        Session session(folder.path());
        std::promise<Session::Outcome> done;
        auto answer = done.get_future();
        session.submit(SignInAnswer{session.asked(), granting(u"lin"_s, u"T"_s), true},
            [&](const Session::Outcome& what) { done.set_value(what); });
        QVERIFY(answer.wait_for(5s) == std::future_status::ready);
        QVERIFY(answer.get().isNotStored);
        QVERIFY(!session.isSignedIn());
        QVERIFY2(!session.current().isConfirmed, "the checks show for nobody");
    }
};

QTEST_GUILESS_MAIN(tst_Session)
#include "tst_Session.moc"
