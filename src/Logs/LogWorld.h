#pragma once

#include "Error.h"

#include <QString>

#include <functional>

/// What the log helper takes from the world around it. Every function may be called on the log's own queues.
struct LogWorld {
    static constexpr qint64 DefaultLimit = 0x500000;

    /// Folder of the three log files; Library/Logs/QenCloud/Logs in the user's home when empty.
    QString ringDirectory;
    /// The size record; .AppData/QenCloud/QenCloud.EXE$/QenCloudLogInfo.data in the user's home when empty.
    QString sizeRecord;
    /// Bytes after which the next line goes to the next file.
    qint64 limit = DefaultLimit;
    /// Takes each line for the system console.
    std::function<void(const QString&)> echo;
    /// The current user's name, who becomes owner of a log folder that has to be repaired.
    std::function<QString()> userName;
    /// Runs a script; no error means success.
    std::function<Platform::Error(const QString& source)> runScript;
    /// The program that makes reports.
    QString reporter;
    /// Shows a folder in the file browser.
    std::function<void(const QString& folder)> openFolder;

    /// The running system: system console, the login user's name, script runner, file browser.
    static LogWorld system(QString ringDirectory = {}, QString sizeRecord = {}, qint64 limit = DefaultLimit);
};
