#pragma once

#include "LogFile.h"
#include "LogFolders.h"
#include "LogLine.h"
#include "LogRecord.h"
#include "LogRecordFile.h"
#include "LogRecordImage.h"
#include "LogWorld.h"

#include <memory>

/// The ring of three log files and the record of their sizes, which survives restarts.
///
/// Asks nobody and reports nothing: a line that cannot be written is lost, and the next one tries again. For one
/// thread, except where noted. Does nothing before initialise().
class LogRing final {
public:
    /// Everything in @p world stays as it is and outlives the ring, like @p folders.
    LogRing(LogFolders& folders, const LogWorld& world);

    /// Finds or makes the files, reads the record and opens the current file.
    void initialise();
    void append(const QString& message);
    /// Makes the log files that are missing. Any thread.
    void createLogFiles() const;

    QString currentLogName() const { return LogRecord::FileNames[m_current]; }
    const QString& logInfoPath() const { return m_logInfoPath; }

private:
    void createLogPath();
    /// The full path, null when the file neither exists nor can be made.
    QString createLogFileWithName(const QString& name, const QString& directory) const;
    void readLogInfo();
    void initial();
    /// Goes on to the successor in the ring.
    void getCurrentLogName();
    void rotate();
    void createFileHandle();
    bool fileHandleAvailable() { return m_fileHandle.isAvailable(); }
    void updateLocalLogInfo();
    QString currentPath() const;

    LogFolders& m_folders;
    const LogWorld& m_world;

    QString m_logInfoPath;
    std::unique_ptr<LogRecordFile> m_recordFile;
    LogRecordImage m_image;
    LogRecord m_currentLogInfo;
    size_t m_current = 0;
    LogFile m_fileHandle;
    LogLine m_line;
};
