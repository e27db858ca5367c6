#pragma once

#include "QenTask.h"

#include <functional>
#include <memory>

/// Runs external commands on the caller's thread and hands back their output.
///
/// Keeps nothing between calls; any thread. A command's path is resolved by HostTools::resolved(): the pack's own come
/// before the system's.
class TaskHelper final {
public:
    using TaskPointer = std::shared_ptr<Platform::QenTask>;

    /// @param limitSeconds  time that the synchronous run grants before it stops a command
    explicit TaskHelper(double limitSeconds = 3.0) : m_limitSeconds(limitSeconds) {}
    static TaskHelper& sharedInstance();

    /// Runs a command to its end, for at most the limit and 4 seconds for stopping it.
    ///
    /// @p result is set only when there is output on standard output and none on standard error: to its text, null when
    /// that is not UTF-8.
    /// @p error is set when there is output on standard error (empty domain, code -1, that text or "unknown error" as
    /// failure reason), or when the command cannot be started. Either may be null; both are left alone otherwise.
    /// @returns null when the executable does not exist
    TaskPointer excuteTaskPath(
        const QString& path, const QStringList& argvs, QString* result, Platform::Error* error) const;

    /// Runs a command without a limit: until it and its descendants have closed its output.
    /// @param isRunning  called with the task once it is launched; not called when it cannot be
    /// @param complete   called last, with what was on standard output (null when empty) and an error as above when
    ///                   there was something on standard error; both may be present
    void excuteTaskPath(const QString& path, const QStringList& argvs,
        const std::function<void(const TaskPointer&)>& isRunning,
        const std::function<void(const QString& result, const Platform::Error& error)>& complete) const;

    /// Starts a command and forgets it. Its output goes where ours goes.
    void startCMDApp(const QString& path, const QStringList& argvs) const;

    /// Always true; callers must not rely on it.
    bool processRunning(const QString& name) const;

private:
    double m_limitSeconds;
};
