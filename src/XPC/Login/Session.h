#pragma once

#include "Completion.h"
#include "Files.h"
#include "SessionModel.h"

#include <QObject>

#include <functional>
#include <mutex>

/// The file of the signed-in record, as far as one reader and writer knows it: reads it again only when another file
/// stands there, and replaces it only while the file is the one that was read.
///
/// Not safe against two threads of one object; its owner, the session, locks.
class AccountRecord final {
public:
    enum class Stored {
        Yes,
        /// Somebody else has written meanwhile; nothing is changed, and refresh() gives what there is now.
        Conflict,
        /// The system refused; nothing is changed.
        Failed,
    };

    /// @param rootPath  as AccountModel takes it; nothing is read yet
    explicit AccountRecord(const QString& rootPath);

    /// Whether another file stands there than the one that was read or written last: one system call.
    bool isOutdated() const;
    /// @param found  what the file holds now; nothing for a missing, damaged or foreign one
    /// @returns false when that cannot be known at the moment: the file counts as outdated then
    bool refresh(std::optional<AccountModel>& found);
    /// Puts @p record in the place of the file that was read last, or removes it. Safe against power loss.
    Stored replace(const std::optional<AccountModel>& record);

private:
    Stored write(const AccountModel& record);
    Stored remove();

    const QString m_rootPath;
    const QString m_path;
    const QString m_aside;
    Platform::FileIdentity m_identity;
};

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
    explicit Session(const QString& rootPath, QObject* parent = nullptr);
    /// Waits for the event that is being carried out.
    ~Session() override = default;

    /// Who carries out what follows from an event, on the session's queue; nobody with an empty one. Waits for the
    /// events so far, after which whoever did before is not called any more. Not on the session's queue.
    void setEffects(Effects effects) {
        m_queue.async([this, effects = std::move(effects)] { m_effects = effects; });
        m_queue.drain();
    }

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

Q_SIGNALS:
    /// On the main thread, for every change of the record too: then the two states may be the same.
    void changed(SessionState old, SessionState now, SessionReason why);

private:
    bool isKnownToChangeNothing(const SessionEvent& event);
    Outcome carryOut(const SessionEvent& event);
    bool store(const SessionEvent& event, SessionStep& step, Outcome& outcome);
    void take(const SessionModel& next, SessionReason reason);
    void refresh();
    void bringUpFile();

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
