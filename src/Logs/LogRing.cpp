#include "LogRing.h"

#include "FileManager.h"
#include "Paths.h"

#include <QDateTime>
#include <QFileInfo>
#include <QStringEncoder>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

// Every line names this writing block and these two line numbers, never its caller; readers of the files know them so.
const QString FileMark = u" : -[QenLogHelper writeLog:type:]_block_invoke:[148] : "_s;
const QString ConsoleMark = u"-[QenLogHelper writeLog:type:]_block_invoke [Line 150] "_s;

} // namespace

QString LogRing::dateString(qint64 secondsSinceEpoch) {
    static const QTimeZone zone(28800);
    return QDateTime::fromSecsSinceEpoch(secondsSinceEpoch, zone).toString(u"yyyy-MM-dd HH:mm:ss"_s);
}

void LogRing::initialise() {
    createLogPath();
    readLogInfo();
    initial();
}

void LogRing::createLogPath() {
    createLogFiles();
    m_logInfoPath = m_world.sizeRecord;
    if (m_logInfoPath.isEmpty())
        m_logInfoPath = Platform::Paths::home() + u"/.AppData/QenCloud/QenCloud.EXE$/QenCloudLogInfo.data"_s;
    const FileManager files;
    files.createDirectoryWithName({}, QFileInfo(m_logInfoPath).path());
    files.createFilePath(m_logInfoPath);
    m_recordFile = std::make_unique<LogRecordFile>(m_logInfoPath);
}

void LogRing::createLogFiles() const {
    const QString directory = m_folders.rootDirectory();
    for (const QString& name : LogRecord::FileNames)
        createLogFileWithName(name, directory);
}

QString LogRing::createLogFileWithName(const QString& name, const QString& directory) {
    return FileManager().createFilePathWithFileName(name, directory);
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
    m_currentLogInfo.logInfos[m_current] = openFile(QIODevice::ExistingOnly) ? m_fileHandle.size() : 0;
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
    QFile::remove(currentPath());
    openFile(QIODevice::Truncate);
}

bool LogRing::openFile(QIODevice::OpenMode creation) {
    m_fileHandle.close();
    m_fileHandle.setFileName(currentPath());
    const QFileInfo there(m_fileHandle.fileName());
    // Nothing but a file: to open something else may wait.
    if (there.exists() ? !there.isFile() : creation == QIODevice::ExistingOnly)
        return false;
    const bool isOpen = m_fileHandle.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered | creation,
        QFile::ReadOwner | QFile::WriteOwner);
    m_opened = Platform::fileIdentity(m_fileHandle.fileName());
    return isOpen;
}

bool LogRing::fileHandleAvailable() {
    const Platform::FileIdentity file = Platform::fileIdentity(m_fileHandle.fileName());
    if (file == Platform::FileIdentity())
        return false;
    // Another file has the name by now, or it could not be opened before.
    if (!m_fileHandle.isOpen() || file.device != m_opened.device || file.inode != m_opened.inode)
        openFile(QIODevice::ExistingOnly);
    return true;
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
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    if (second != m_second) {
        m_second = second;
        m_stamp = dateString(second) + FileMark;
    }
    const QString text = m_stamp + message + u" \n"_s;
    if (m_world.echo)
        m_world.echo(ConsoleMark + text);
    // Without state: half a character at the end of a message must not turn up in the next line.
    QStringEncoder utf8(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    const QByteArray line = utf8(text);
    // Counted whether or not the write succeeds: the count is the ring's own book-keeping.
    m_currentLogInfo.logInfos[m_current] += line.size();
    write(line);
    updateLocalLogInfo();
}

void LogRing::write(const QByteArray& line) {
    const qint64 written = m_fileHandle.isOpen() ? m_fileHandle.write(line) : 0;
    // A disk that is full took a part of the line: half a line is worse than none.
    if (written > 0 && written < line.size())
        m_fileHandle.resize(m_fileHandle.size() - written);
}

void LogRing::updateLocalLogInfo() {
    // Nothing is reported: a record that could not be written comes with the next line.
    static_cast<void>(m_recordFile->replace(encodedLogRecord(m_currentLogInfo)));
}
