#pragma once

#include "AccountRecord.h"
#include "Completion.h"
#include "SessionModel.h"

#include <QObject>

#include <functional>
#include <mutex>

/// Who is signed in. The only reader and writer of the session's record.
///
/// What happens is handed over as an event, decided by sessionStep() and carried out here, one event after the other on
/// a queue of its own, which borrows the caller's thread for a poll's answer that changes nothing. The main thread sees
/// the session through state(), account() and changed(), which move together; every other thread asks current(), which
/// costs one system call while the file is the one that was read.
class Session final : public QObject {
    Q_OBJECT
public:
    /// What came of an event.
    struct Outcome {
        /// The answer claims a sign-in and cannot be used.
        bool isUnusable = false;
        /// The event changed the session.
        bool isTaken = false;
        /// A sign-in that could not be stored, which is none.
        bool isNotStored = false;
    };
    using Effects = std::function<void(SessionEffect effect, const SessionModel& session)>;

    /// Reads the record. @param rootPath  the user's Application Support folder
    explicit Session(QString rootPath, QObject* parent = nullptr);
    /// Waits for the event that is being carried out.
    ~Session() override;

    /// Who carries out what follows from an event, on the session's queue. Set once, before the first event.
    void setEffects(Effects effects);

    /// Main thread: as of the last changed().
    SessionState state() const { return m_shown.state(); }
    /// Main thread: the session behind state(), and its record.
    const SessionModel& shown() const { return m_shown; }
    const std::optional<AccountModel>& account() const { return m_shown.record; }

    /// The session as it is now. Any thread; may wait for a write to the disk, so not from the main thread on a hot
    /// path.
    SessionModel current();
    AskedFor asked() { return current().asked; }
    bool isSignedIn() { return current().isSignedIn(); }

    /// Any thread. @param done  called on the session's queue when all has been carried out
    void submit(SessionEvent event, std::function<void(const Outcome&)> done = {});
    /// The file may be another one. Any thread.
    void look() { static_cast<void>(current()); }

Q_SIGNALS:
    /// On the main thread, for every change of the record too: then the two states may be the same.
    void changed(SessionState old, SessionState now, SessionReason why);

private:
    bool isKnownToChangeNothing(const SessionEvent& event);
    Outcome carryOut(const SessionEvent& event);
    bool store(const SessionEvent& event, SessionStep& step, Outcome& outcome);
    void take(const SessionModel& next, SessionReason reason);
    void refresh();

    Effects m_effects;
    SessionModel m_shown;
    std::mutex m_mutex;
    AccountRecord m_file;
    SessionModel m_model;
    /// The file could not be made to say what the model does.
    bool m_isBehind = false;
    Platform::Receiver m_main;
    Platform::SerialQueue m_queue;
};
