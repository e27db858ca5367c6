#include "Session.h"

#include "ArchiveStore.h"

#include <QFile>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>

using namespace Qt::StringLiterals;

using Platform::fileIdentity;
using Platform::FileIdentity;

namespace {

/// Another process that writes at the same moment every time is no reason to try for ever.
constexpr int MostTries = 8;

bool isSignIn(const SessionStep& step) {
    return step.reason == SessionReason::SignedIn || step.reason == SessionReason::DomainSignedIn;
}

bool moved(const QString& from, const QString& to, unsigned flags) {
    return renameat2(
               AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD, QFile::encodeName(to).constData(), flags) == 0;
}

} // namespace

AccountRecord::AccountRecord(const QString& rootPath)
    : m_rootPath(rootPath), m_path(AccountModel::modelSavePathWithCheck(false, rootPath)),
      m_aside(m_path + u".aside"_s) {}

bool AccountRecord::isOutdated() const {
    return fileIdentity(m_path) != m_identity;
}

bool AccountRecord::refresh(std::optional<AccountModel>& found) {
    // Looked at before it is read: a file that comes in between is noticed the next time.
    const FileIdentity identity = fileIdentity(m_path);
    bool isUnknown = false;
    found = identity == FileIdentity() ? std::nullopt : AccountModel::currentModel(m_rootPath, &isUnknown);
    if (!isUnknown)
        m_identity = identity;
    return !isUnknown;
}

AccountRecord::Stored AccountRecord::replace(const std::optional<AccountModel>& record) {
    if (isOutdated())
        return Stored::Conflict;
    QFile::remove(m_aside);
    const Stored stored = record ? write(*record) : remove();
    // A loss of power must not bring the former record back.
    Platform::syncFolderOf(m_path);
    if (stored == Stored::Yes)
        m_identity = fileIdentity(m_path);
    return stored;
}

AccountRecord::Stored AccountRecord::write(const AccountModel& record) {
    AccountModel::modelSavePathWithCheck(true, m_rootPath);
    if (!archiveRootObject(record.encoded(), m_aside, Platform::Durability::Synced))
        return Stored::Failed;
    const bool isNew = m_identity == FileIdentity();
    if (!moved(m_aside, m_path, isNew ? RENAME_NOREPLACE : RENAME_EXCHANGE)) {
        const int reason = errno;
        // Not every file system can exchange two files in one step.
        if (reason == EINVAL && fileIdentity(m_path) == m_identity && moved(m_aside, m_path, 0))
            return Stored::Yes;
        QFile::remove(m_aside);
        return reason == EEXIST || reason == ENOENT ? Stored::Conflict : Stored::Failed;
    }
    // What was exchanged is looked at afterwards, so that nobody's write can come in between.
    const bool isOurs = isNew || fileIdentity(m_aside) == m_identity;
    if (!isOurs)
        moved(m_aside, m_path, RENAME_EXCHANGE);
    QFile::remove(m_aside);
    return isOurs ? Stored::Yes : Stored::Conflict;
}

AccountRecord::Stored AccountRecord::remove() {
    if (m_identity == FileIdentity())
        return Stored::Yes;
    if (!moved(m_path, m_aside, 0))
        return errno == ENOENT ? Stored::Yes : Stored::Failed;
    if (fileIdentity(m_aside) != m_identity) {
        // Somebody else's: back to its place, unless there is a newer one.
        moved(m_aside, m_path, RENAME_NOREPLACE);
        QFile::remove(m_aside);
        return Stored::Conflict;
    }
    return QFile::remove(m_aside) ? Stored::Yes : Stored::Failed;
}

Session::Session(const QString& rootPath, QObject* parent) : QObject(parent), m_file(rootPath), m_queue(u"session"_s) {
    std::optional<AccountModel> found;
    m_file.refresh(found);
    m_model = sessionStep({}, RecordFound{found}).next;
    m_shown = m_model;
}

SessionModel Session::current() {
    const std::lock_guard lock(m_mutex);
    refresh();
    return m_model;
}

void Session::submit(SessionEvent event, std::function<void(const Outcome&)> done) {
    const bool changesNothing = isKnownToChangeNothing(event);
    auto carry = [this, event = std::move(event), done = std::move(done)] {
        const Outcome outcome = carryOut(event);
        if (done)
            done(outcome);
    };
    if (changesNothing)
        m_queue.asyncOrHere(std::move(carry));
    else
        m_queue.async(std::move(carry));
}

/// What every poll brings. Carrying it out touches no file, so that no thread has to be woken for it.
bool Session::isKnownToChangeNothing(const SessionEvent& event) {
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock || m_isBehind || m_file.isOutdated() || !std::holds_alternative<TicketAnswer>(event))
        return false;
    const SessionStep step = sessionStep(m_model, event);
    return step.reason == SessionReason::None && !step.effects.contains(SessionEffect::Store);
}

void Session::refresh() {
    std::optional<AccountModel> found;
    // What is known holds while nothing can be read.
    if (!m_file.isOutdated() || !m_file.refresh(found))
        return;
    const SessionStep step = sessionStep(m_model, RecordFound{found});
    take(step.next, step.reason);
    m_isBehind = step.next.record != found;
    // An old copy must not wait in the file for the next start.
    if (m_isBehind)
        m_queue.async([this] {
            const std::lock_guard lock(m_mutex);
            bringUpFile();
        });
}

void Session::bringUpFile() {
    refresh();
    if (m_isBehind)
        m_isBehind = m_file.replace(m_model.record) != AccountRecord::Stored::Yes;
}

void Session::take(const SessionModel& next, SessionReason reason) {
    m_model = next;
    if (reason == SessionReason::None)
        return;
    m_main.async([this, next, reason] {
        const SessionState old = m_shown.state();
        m_shown = next;
        Q_EMIT changed(old, m_shown.state(), reason);
    });
}

Session::Outcome Session::carryOut(const SessionEvent& event) {
    Outcome outcome;
    SessionStep step;
    {
        const std::lock_guard lock(m_mutex);
        bringUpFile();
        step = sessionStep(m_model, event);
        // Known before the first effect; only a new sign-in has none until it is stored.
        if (!isSignIn(step))
            m_model.isConfirmed = step.next.isConfirmed;
        if (!step.effects.contains(SessionEffect::Store)) {
            take(step.next, step.reason);
            outcome.isTaken = step.reason != SessionReason::None;
        }
    }
    outcome.isUnusable = step.isUnusable;
    for (const SessionEffect effect : QList(step.effects)) {
        if (effect == SessionEffect::Store) {
            if (!store(event, step, outcome))
                break;
        } else if (m_effects) {
            m_effects(effect, step.next);
        }
    }
    return outcome;
}

bool Session::store(const SessionEvent& event, SessionStep& step, Outcome& outcome) {
    const std::lock_guard lock(m_mutex);
    auto stored = m_file.replace(step.next.record);
    for (int i = 0; stored == AccountRecord::Stored::Conflict && i < MostTries; ++i) {
        refresh();
        // What somebody else has written may concern the event: it is judged once more.
        step = sessionStep(m_model, event);
        if (!step.effects.contains(SessionEffect::Store))
            return false;
        stored = m_file.replace(step.next.record);
    }
    const bool isStored = stored == AccountRecord::Stored::Yes;
    if (!isStored && isSignIn(step)) {
        outcome.isNotStored = true;
        return false;
    }
    // An end, a rotated ticket and a wish hold although the disk refuses; the file is brought up with the next event.
    m_isBehind = !isStored;
    take(step.next, step.reason);
    outcome.isTaken = true;
    return true;
}
