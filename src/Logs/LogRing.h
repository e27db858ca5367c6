#pragma once

#include "Files.h"
#include "LogFolders.h"
#include "LogRecord.h"
#include "LogWorld.h"

#include <QFile>

#include <atomic>

/// The ring of three log files and the record of their sizes, which survives restarts.
///
/// Asks nobody and reports nothing: a line that cannot be written is lost, and the next one tries again. For one
/// thread, except where noted. Does nothing before initialise().
class LogRing final {
public:
    /// Everything in @p world stays as it is and outlives the ring, like @p folders.
    LogRing(LogFolders& folders, const LogWorld& world) : m_folders(folders), m_world(world) {}

    /// Finds or makes the files, reads the record and opens the current file.
    void initialise();
    void append(const QString& message);
    /// Makes the log files that are missing. Any thread.
    void createLogFiles() const;

    /// Any thread.
    QString currentLogName() const { return LogRecord::FileNames[m_current]; }
    const QString& logInfoPath() const { return m_logInfoPath; }

    /// "yyyy-MM-dd HH:mm:ss" in the fixed zone GMT+8, whatever the machine's own zone.
    static QString dateString(qint64 secondsSinceEpoch);

private:
    void createLogPath();
    /// The full path, null when the file neither exists nor can be made.
    static QString createLogFileWithName(const QString& name, const QString& directory);
    void readLogInfo();
    void initial();
    /// Goes on to the successor in the ring.
    void getCurrentLogName() { m_current = LogRecord::indexAfter(currentLogName()); }
    void rotate();
    void createFileHandle();
    bool openFile(QIODevice::OpenMode creation);
    bool fileHandleAvailable();
    void write(const QByteArray& line);
    void updateLocalLogInfo();
    QString currentPath() const;

    LogFolders& m_folders;
    const LogWorld& m_world;

    QString m_logInfoPath;
    LogRecord m_currentLogInfo;
    std::unique_ptr<LogRecordFile> m_recordFile;
    std::atomic<size_t> m_current = 0;
    QFile m_fileHandle;
    /// The file that was opened.
    Platform::FileIdentity m_opened;
    /// What the lines of one second begin with.
    QString m_stamp;
    qint64 m_second = -1;
};
