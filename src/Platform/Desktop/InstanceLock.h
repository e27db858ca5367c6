#pragma once

#include "UniqueFd.h"

#include <QSocketNotifier>

#include <chrono>
#include <functional>
#include <memory>

namespace Platform {

/// The single copy of a program by a locked file, with a socket beside it at which others knock. Main thread.
class InstanceLock final {
public:
    enum class Outcome { Held, HeldByOther, Unusable };

    /// @param folder  made when missing; must be the user's own
    /// @param knocked  called from the event loop for each knock of another copy
    InstanceLock(QString folder, const QString& name, std::function<void()> knocked);
    ~InstanceLock();

    /// Takes the lock, or knocks at its holder. A holder that has not opened its socket yet is waited for, at most @p
    /// limit. Needs no application object.
    Outcome acquire(std::chrono::milliseconds limit);
    /// Hears knocks from now on, those that wait included. Needs the application object.
    void hear();

private:
    /// False with errno.
    bool takeLock();
    void takeKnocks();

    const QString m_folder;
    const QString m_lockFile;
    const QString m_socketFile;
    const std::function<void()> m_knocked;
    UniqueFd m_lock;
    UniqueFd m_listener;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace Platform
