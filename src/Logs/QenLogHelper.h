#pragma once

#include "LogFolders.h"
#include "LogRing.h"
#include "LogWorld.h"
#include "Queue.h"
#include "Shared.h"

#include <QString>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace Platform {
class QenTask;
}

/// The client's single log writer: appends time-stamped lines to a ring of three files, echoes them to the system
/// console and packs all logs for support.
///
/// Any thread may write; lines keep their order and are written within a tenth of a second, a burst together. Never
/// fails to the caller: a line that cannot be written is lost. All writing of lines, the opening included, happens on
/// the log queue. What the lines say is the caller's duty: no secrets (see LogRedaction.h).
class QenLogHelper final {
public:
    /// A completion with failure comes with a text for a person, one with success without.
    using Completion = std::function<void(bool success, const QString& message)>;

    explicit QenLogHelper(LogWorld world);
    /// @param ringDirectory  where the three log files live; created when missing
    /// @param sizeRecord     keyed archive of the ring state
    /// @param limit          bytes after which the next line goes to the next file
    QenLogHelper(QString ringDirectory, QString sizeRecord, qint64 limit = LogWorld::DefaultLimit)
        : QenLogHelper(LogWorld::system(std::move(ringDirectory), std::move(sizeRecord), limit)) {}
    /// Waits until every line and export has been dealt with.
    ~QenLogHelper();
    QenLogHelper(const QenLogHelper&) = delete;
    QenLogHelper& operator=(const QenLogHelper&) = delete;

    /// The running client's; call drain() before the process ends.
    static QenLogHelper& sharedInstance() { return Platform::Shared<QenLogHelper>::instance(); }

    /// @param type  single bit: 1 ordinary, 2 failure, 8 log folder, 32 polling trace; accepted and ignored
    void writeLog(const QString& message, int type = 1);
    /// Waits until the lines queued so far are written, for at most @p limit. Not on the log queue.
    /// @returns whether they are
    bool drain(std::chrono::milliseconds limit = std::chrono::seconds(5));

    /// "yyyy-MM-dd HH:mm:ss" in GMT+8.
    static QString currentDateString();
    /// The log directory. Waits until the log is open.
    QString rootDirectory();
    /// The user's Desktop. Runs a command unless the log has been opened.
    QString desktopDirectory() { return m_folders.desktopDirectory(); }
    /// The name of the file now being written. Waits for the lines queued so far.
    QString currentLogName();
    /// The path of the size record. Waits until the log is open.
    QString logInfoPath();

    /// Both exports return at once and run one after the other on the export queue, where completions arrive, too;
    /// their commands have no time limit. When the log folder is gone and cannot be repaired, the completion is called
    /// with failure first and once more at the export's end.
    ///
    /// The agent's and the client's logs into "QenCloudAllLogs.zip" above the log directory, then shows that folder.
    void zipLogs(Completion complete);
    /// All logs and data into five archives in the folder "MavLogs" in @p directory, then shows @p directory.
    void zipLogsWithDirectory(const QString& directory, Completion complete);

    /// What the logs and the state tell, with tokens for names and addresses, into "MavLogs/MavReport.zip" in
    /// @p directory, then shows @p directory. As an export.
    void makeReport(const QString& directory, Completion complete);
    /// Ends what is being packed, without a rest of it; each export that was under way completes with failure. Waits
    /// for at most three seconds. Before the end of the process.
    void endExports();

private:
    void writePending();
    /// What waits is written now.
    void endBurst();
    void repairLogFolder(const Completion& complete);
    /// Runs a command that endExports() ends. @returns its exit status, -1 when it did not end by itself
    int runPacker(const QString& path, const QStringList& argvs, QString& output, QString& failure);
    /// What @p folder holds into @p archive, but for what cannot be read, which is logged.
    /// @returns what went wrong, empty when nothing did; no archive is left then
    QString zip(const QString& folder, const QString& archive);
    /// The agent's logs into @p archive; false when that failed, which ends the export.
    bool zipAgentLogs(const QString& archive, const Completion& complete);
    void setRunningPacker(const std::shared_ptr<Platform::QenTask>& task);
    /// Completes with failure once the client ends.
    bool isEnding(const Completion& complete);
    void beginExport(Completion complete, std::function<void(const Completion& complete)> steps);

    const LogWorld m_world;
    LogFolders m_folders;
    LogRing m_ring;
    /// Lines for which one block waits on the log queue, so that a burst costs one hand-over.
    std::mutex m_pendingMutex;
    std::vector<QString> m_pending;
    std::condition_variable m_burstEnds;
    bool m_isBurstOver = false;
    std::shared_future<void> m_isOpen;
    std::mutex m_zipMutex;
    std::shared_ptr<Platform::QenTask> m_runningPacker;
    bool m_isEnding = false;
    // Behind all that their blocks use: they finish first.
    Platform::SerialQueue m_logQueue;
    Platform::SerialQueue m_zipQueue;
};
