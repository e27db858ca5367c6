#pragma once

#include "FileManager.h"
#include "TaskHelper.h"

#include <QString>

#include <mutex>
#include <optional>

/// Where the logs lie below the user's home, found once and remembered. Any thread; the first question runs a command
/// and makes folders.
class LogFolders final {
public:
    /// @param fixedDirectory  used as the log directory when not empty
    LogFolders(const TaskHelper& tasks, const FileManager& files, QString fixedDirectory = {})
        : m_tasks(tasks), m_files(files), m_fixedDirectory(std::move(fixedDirectory)) {}

    /// The log directory, made when missing: Library/Logs/QenCloud/Logs in the user's home.
    QString rootDirectory();
    /// The folder above the log directory; empty before the first rootDirectory().
    QString rootPath() const;
    QString desktopDirectory() const;
    /// Lets the next rootDirectory() look anew.
    void forgetRootDirectory();

    /// The value of the first line of @p environment that holds "HOME=", when it is an absolute path.
    static std::optional<QString> homeIn(const QString& environment);

private:
    /// Asked once.
    std::optional<QString> shellHome() const;

    const TaskHelper& m_tasks;
    const FileManager& m_files;
    const QString m_fixedDirectory;
    mutable std::once_flag m_shellAsked;
    mutable std::optional<QString> m_shellHome;
    mutable std::mutex m_mutex;
    QString m_rootDirectory;
    QString m_rootPath;
};
