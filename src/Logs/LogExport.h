#pragma once

#include "LogFolders.h"
#include "LogWorld.h"
#include "Queue.h"

#include <functional>

/// Packs the logs into zip archives for support. The steps run one after the other on the queue given, where
/// completions arrive, too.
///
/// Commands run without a time limit: a large folder takes as long as it takes. Names of files and folders reach the
/// shell and zip as plain names, whatever they contain.
class LogExport final {
public:
    /// A completion with failure comes with a text for a person, one with success without.
    using Completion = std::function<void(bool success, const QString& message)>;

    struct Ring {
        std::function<void(const QString& message, int type)> writeLog;
        /// Makes the log files that are missing.
        std::function<void()> createLogFiles;
    };

    LogExport(Platform::SerialQueue& queue, LogFolders& folders, const LogWorld& world, Ring ring);

    /// The agent's and the client's logs into "QenCloudAllLogs.zip" above the log directory, then shows that folder.
    void zipLogs(Completion complete);
    /// All logs and data into five archives in the folder "MavLogs" in @p directory, then shows @p directory.
    void zipLogsWithDirectory(const QString& directory, Completion complete);

    /// The arguments of /bin/bash that pack the content of @p folder into @p archive.
    static QStringList zipArguments(const QString& folder, const QString& archive);
    /// The script that gives @p folder to @p user.
    static QString ownerScript(const QString& user, const QString& folder);

private:
    void repairLogFolder(const Completion& complete);
    QString agentLogFolder() const;
    QString zip(const QString& folder, const QString& archive) const;
    bool zipAgentLogs(const QString& archive, const Completion& complete) const;

    Platform::SerialQueue& m_queue;
    LogFolders& m_folders;
    const LogWorld& m_world;
    const Ring m_ring;
};
