#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <memory>

class QSocketNotifier;

namespace Platform {

/// The single copy of a program by a locked file, with a socket beside it at which others knock. Main thread.
class InstanceLock final {
public:
    enum class Outcome { Held, HeldByOther, Unusable };

    /// @param folder  made when missing; must be the user's own
    /// @param knocked  called from the event loop for each knock of another copy of the same user
    InstanceLock(QString folder, const QString& name, std::function<void()> knocked);
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    /// Takes the lock, or knocks at its holder. A holder that has not opened its socket yet is waited for, at most @p
    /// limit.
    Outcome acquire(std::chrono::milliseconds limit);

private:
    /// @returns whether the lock is ours; sets m_lock when so
    bool takeLock();
    void listen();
    bool knock() const;
    void acceptAll();

    const QString m_folder;
    const QString m_lockFile;
    const QString m_socketFile;
    const std::function<void()> m_knocked;
    int m_lock = -1;
    int m_listener = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace Platform
