#pragma once

#include <QString>

#include <mutex>
#include <optional>

/// Where the logs lie below the user's home, found once and remembered. Any thread; the first question runs a command
/// and makes folders.
class LogFolders final {
public:
    /// @param fixedDirectory  used as the log directory when not empty
    explicit LogFolders(QString fixedDirectory) : m_fixedDirectory(std::move(fixedDirectory)) {}

    /// The log directory, made when missing: Library/Logs/QenCloud/Logs in the user's home.
    QString rootDirectory();
    /// The folder above the log directory.
    QString rootPath();
    QString desktopDirectory();
    /// Lets the next rootDirectory() look anew.
    void forgetRootDirectory();

    /// The value of the first line of @p environment that holds "HOME=", when it is an absolute path.
    static std::optional<QString> homeIn(const QString& environment);

private:
    /// Asked once.
    const std::optional<QString>& shellHome();

    const QString m_fixedDirectory;
    std::once_flag m_shellAsked;
    std::optional<QString> m_shellHome;
    std::mutex m_mutex;
    QString m_rootDirectory;
};
