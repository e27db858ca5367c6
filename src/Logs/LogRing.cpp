#include "LogRing.h"

#include "Files.h"
#include "Paths.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

LogRing::LogRing(LogFolders& folders, const LogWorld& world) : m_folders(folders), m_world(world) {}

void LogRing::initialise() {
    createLogPath();
    readLogInfo();
    initial();
}

void LogRing::createLogPath() {
    createLogFiles();
    const FileManager& files = *m_world.files;
    if (m_world.sizeRecord.isEmpty()) {
        const QString hidden = files.createDirectoryWithName(u".AppData/QenCloud"_s, Platform::Paths::home());
        const QString folder = files.createDirectoryWithName(u"QenCloud.EXE$"_s, hidden);
        m_logInfoPath = folder + u"/QenCloudLogInfo.data"_s;
    } else {
        m_logInfoPath = m_world.sizeRecord;
        files.createDirectoryWithName({}, QFileInfo(m_logInfoPath).path());
    }
    files.createFilePath(m_logInfoPath);
    m_recordFile = std::make_unique<LogRecordFile>(m_logInfoPath);
}

void LogRing::createLogFiles() const {
    const QString directory = m_folders.rootDirectory();
    for (const QString& name : LogRecord::FileNames)
        createLogFileWithName(name, directory);
}

QString LogRing::createLogFileWithName(const QString& name, const QString& directory) const {
    return m_world.files->createFilePathWithFileName(name, directory);
}

void LogRing::readLogInfo() {
    const std::optional<QByteArray> bytes = Platform::readFile(m_logInfoPath, LogRecord::SizeLimit);
    m_currentLogInfo = (bytes ? decodedLogRecord(*bytes) : std::nullopt).value_or(LogRecord());
}

void LogRing::initial() {
    const std::optional<size_t> known = LogRecord::indexOf(m_currentLogInfo.currentLogName);
    if (!known) {
        // A name that is none of ours may lead anywhere, so its file is not opened: the ring moves on at once.
        m_current = LogRecord::FileNames.size() - 1;
        rotate();
        return;
    }
    m_current = *known;
    m_fileHandle.setPath(currentPath());
    m_fileHandle.openExisting();
    m_currentLogInfo.logInfos[m_current] = m_fileHandle.size();
    if (m_currentLogInfo.logInfos[m_current] < m_world.limit)
        return;
    // Neither the new file's recorded count nor the name in the record changes here, on purpose: the first write judges
    // the new file by its stale count and may move on once more, and until the writer itself rotates, the record names
    // the previous file.
    getCurrentLogName();
    createFileHandle();
}

QString LogRing::currentPath() const {
    return m_folders.rootDirectory() + u'/' + currentLogName();
}

void LogRing::createFileHandle() {
    m_fileHandle.setPath(currentPath());
    m_fileHandle.openFresh();
}

void LogRing::getCurrentLogName() {
    m_current = LogRecord::indexAfter(currentLogName());
}

void LogRing::rotate() {
    getCurrentLogName();
    m_currentLogInfo.logInfos[m_current] = 0;
    m_currentLogInfo.currentLogName = currentLogName();
    createFileHandle();
}

void LogRing::append(const QString& message) {
    if (!fileHandleAvailable()) {
        m_currentLogInfo.logInfos[m_current] = 0;
        createFileHandle();
    }
    if (m_currentLogInfo.logInfos[m_current] >= m_world.limit)
        rotate();
    const QByteArrayView line = m_line.format(message);
    if (m_world.echo)
        m_world.echo(m_line.consoleText());
    // Counted whether or not the write succeeds: the count is the ring's own book-keeping.
    m_currentLogInfo.logInfos[m_current] += line.size();
    m_fileHandle.append(line);
    updateLocalLogInfo();
}

void LogRing::updateLocalLogInfo() {
    // Nothing is reported: a record that could not be written comes with the next line.
    static_cast<void>(m_recordFile->replace(m_image.encoded(m_currentLogInfo, m_current)));
}
