#include "LogFile.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

/// Calls of isAvailable() between two looks at which file the path leads to.
constexpr unsigned CallsBetweenLooks = 64;

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

} // namespace

LogFile::~LogFile() {
    closeHandle();
}

void LogFile::setPath(const QString& path) {
    closeHandle();
    m_path = QFile::encodeName(path);
    m_name = QFile::encodeName(QFileInfo(path).fileName());
}

void LogFile::closeHandle() {
    closeDescriptor(m_descriptor);
    closeDescriptor(m_folder);
}

bool LogFile::openWith(int flags) {
    closeHandle();
    // Non-blocking for the case that something else than a file has the name.
    m_descriptor = open(m_path.constData(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK | flags, 0600);
    struct stat facts {};
    if (m_descriptor >= 0 && fstat(m_descriptor, &facts) == 0 && S_ISREG(facts.st_mode))
        m_folder = open(QFile::encodeName(QFileInfo(QFile::decodeName(m_path)).path()).constData(),
            O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (m_folder < 0) {
        closeHandle();
        return false;
    }
    m_device = facts.st_dev;
    m_inode = facts.st_ino;
    return true;
}

bool LogFile::openExisting() {
    return openWith(0);
}

bool LogFile::openFresh() {
    unlink(m_path.constData());
    return openWith(O_CREAT);
}

bool LogFile::isReplaced() const {
    struct stat facts {};
    return stat(m_path.constData(), &facts) != 0 || facts.st_ino != m_inode || facts.st_dev != m_device;
}

bool LogFile::isAvailable() {
    // By the folder's handle, which spares most of the walk down the path at every line.
    const bool mayBeTheSame = m_descriptor >= 0 && faccessat(m_folder, m_name.constData(), F_OK, 0) == 0;
    if (mayBeTheSame && (++m_calls % CallsBetweenLooks != 0 || !isReplaced()))
        return true;
    if (access(m_path.constData(), F_OK) != 0)
        return false;
    openExisting();
    return true;
}

qint64 LogFile::size() const {
    struct stat facts {};
    return m_descriptor >= 0 && fstat(m_descriptor, &facts) == 0 ? facts.st_size : 0;
}

void LogFile::append(QByteArrayView bytes) {
    if (m_descriptor < 0)
        return;
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count = write(m_descriptor, bytes.data() + done, static_cast<size_t>(bytes.size() - done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        done += count;
    }
    // A disk that is full took a part of the line: half a line is worse than none.
    if (done > 0 && done < bytes.size())
        static_cast<void>(!ftruncate(m_descriptor, size() - done));
}
