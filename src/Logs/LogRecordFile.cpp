#include "LogRecordFile.h"

#include "Files.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace {

constexpr mode_t FileMode = 0600;
/// How often a look is taken whether the two open files are still the ones in the folder.
constexpr unsigned TurnsBetweenLooks = 64;

void closeDescriptor(int& descriptor) {
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

bool writeAll(int descriptor, QByteArrayView bytes) {
    off_t offset = 0;
    while (!bytes.empty()) {
        const ssize_t count = pwrite(descriptor, bytes.data(), static_cast<size_t>(bytes.size()), offset);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        offset += count;
        bytes = bytes.sliced(count);
    }
    return true;
}

} // namespace

LogRecordFile::LogRecordFile(const QString& path, Method method)
    : m_path(path), m_folder(QFile::encodeName(QFileInfo(path).path())),
      m_name(QFile::encodeName(QFileInfo(path).fileName())), m_spareName(m_name + ".spare"), m_method(method) {}

LogRecordFile::~LogRecordFile() {
    closeSides();
}

bool LogRecordFile::replace(QByteArrayView bytes) {
    if (m_folderDescriptor >= 0 && ++m_turns % TurnsBetweenLooks == 0 && !sidesAreLinked())
        closeSides();
    // The second try is for files or a folder that were deleted since the last line.
    for (int tries = 0; tries < 2 && m_method == Method::Exchange; ++tries) {
        if (m_folderDescriptor < 0 && !openSides())
            break;
        switch (exchange(bytes)) {
        case Outcome::Done:
            return true;
        case Outcome::Failed:
            return false;
        case Outcome::Missing:
            closeSides();
            break;
        case Outcome::Unsupported:
            m_method = Method::Rename;
            closeSides();
            break;
        }
    }
    // An empty folder in its place would stay there for ever.
    rmdir(QFile::encodeName(m_path).constData());
    return !Platform::replaceFile(m_path, bytes.toByteArray(), Platform::Durability::Plain, FileMode);
}

LogRecordFile::Outcome LogRecordFile::exchange(QByteArrayView bytes) {
    if (!writeAll(m_spare.descriptor, bytes))
        return Outcome::Failed;
    if (m_spare.length > bytes.size() && ftruncate(m_spare.descriptor, bytes.size()) != 0)
        return Outcome::Failed;
    m_spare.length = bytes.size();
    if (renameat2(m_folderDescriptor, m_spareName.constData(), m_folderDescriptor, m_name.constData(),
            RENAME_EXCHANGE) == 0) {
        std::swap(m_spare, m_record);
        return Outcome::Done;
    }
    switch (errno) {
    case ENOENT:
        return Outcome::Missing;
    case EINVAL:
    case ENOSYS:
    case EOPNOTSUPP:
        return Outcome::Unsupported;
    default:
        return Outcome::Failed;
    }
}

bool LogRecordFile::openSides() {
    m_folderDescriptor = open(m_folder.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (m_folderDescriptor >= 0 && openSide(m_record, m_name) && openSide(m_spare, m_spareName))
        return true;
    closeSides();
    return false;
}

bool LogRecordFile::openSide(Side& side, const QByteArray& name) {
    // Non-blocking for the case that something else than a file has the name.
    constexpr int Flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    side.descriptor = openat(m_folderDescriptor, name.constData(), Flags, FileMode);
    struct stat facts {};
    if (side.descriptor < 0 || fstat(side.descriptor, &facts) != 0 || !S_ISREG(facts.st_mode))
        return false;
    side.length = facts.st_size;
    return true;
}

void LogRecordFile::closeSides() {
    closeDescriptor(m_record.descriptor);
    closeDescriptor(m_spare.descriptor);
    closeDescriptor(m_folderDescriptor);
}

bool LogRecordFile::sidesAreLinked() const {
    struct stat record {};
    struct stat spare {};
    return fstat(m_record.descriptor, &record) == 0 && record.st_nlink > 0 && fstat(m_spare.descriptor, &spare) == 0 &&
        spare.st_nlink > 0;
}
