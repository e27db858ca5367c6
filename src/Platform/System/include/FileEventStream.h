#pragma once

#include "SystemLog.h"
#include "UniqueFd.h"

#include <QList>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <functional>

namespace Platform {

/// Follows a set of files through their folders and reports each one that was written, replaced, created or removed.
///
/// A folder may be missing, appear later, go away and come back. What happens within the latency after a first change
/// comes in one callback, each path once, in the order of first change. When the kernel drops events, every path counts
/// as changed: never silence. While the kernel has no instance or watch to give, it is asked again every fourth
/// latency, and what is there then counts as changed. Memory does not depend on the number of changes.
class FileEventStream final {
public:
    /// @param paths  absolute file names  @param latency  from the first change to the callback
    /// @param callback  called on the thread that runs the stream
    /// @param tell  takes a line when a file cannot be followed, and when all can be again; on that thread
    FileEventStream(const QStringList& paths, std::chrono::milliseconds latency,
        std::function<void(const QStringList&)> callback, std::function<void(const QString&)> tell = systemLog);
    FileEventStream(const FileEventStream&) = delete;
    FileEventStream& operator=(const FileEventStream&) = delete;

    /// Follows the files on the calling thread until stop(). Changes made before it are not seen.
    void run();
    /// Makes run() return. Any thread.
    void stop();

private:
    using Clock = std::chrono::steady_clock;

    struct Folder {
        QString path;
        QStringList names;
        /// Of itself or the nearest parent; -1 for none.
        int watch = -1;
        bool isThere = false;
    };

    void askAgain();
    void watchAll(bool filesAreNews);
    bool watch(Folder& folder, bool filesAreNews);
    int addWatch(const QString& path);
    void readEvents();
    bool handle(int descriptor, quint32 mask, const QString& name);
    void changed(const QString& path);
    int timeLeft() const;

    const std::chrono::milliseconds m_latency;
    const std::function<void(const QStringList&)> m_callback;
    const std::function<void(const QString&)> m_tell;
    UniqueFd m_inotify;
    const UniqueFd m_wake;
    /// Why the kernel has no instance or watch for all of them; 0 when it has.
    int m_lack = 0;
    std::atomic<bool> m_stopped{false};
    QList<Folder> m_folders;
    QStringList m_pending;
    Clock::time_point m_due;
};

} // namespace Platform
