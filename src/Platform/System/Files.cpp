#include "Files.h"

#include "UniqueFd.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Platform {

Error systemError(int number) {
    return {PosixErrorDomain, number, QString::fromLocal8Bit(std::strerror(number))};
}

FileIdentity fileIdentity(const QString& path) {
    struct stat status {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

bool syncFolderOf(const QString& path) {
    const QByteArray folder = QFile::encodeName(QFileInfo(path).path());
    const UniqueFd descriptor(
        uninterrupted([&] { return open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    // Some file systems cannot sync a folder, and need not.
    return descriptor.isOpen() && (uninterrupted([&] { return fsync(descriptor.get()); }) == 0 || errno == EINVAL);
}

bool writeAll(int descriptor, QByteArrayView bytes) {
    while (!bytes.empty()) {
        const auto size = static_cast<size_t>(bytes.size());
        const ssize_t count = uninterrupted([&] { return write(descriptor, bytes.data(), size); });
        if (count <= 0) {
            if (count == 0)
                errno = ENOSPC;
            return false;
        }
        bytes = bytes.sliced(count);
    }
    return true;
}

std::optional<QByteArray> readFile(const QString& path, qint64 limit, bool* mayPass) {
    const auto refused = [mayPass](int reason) {
        const bool isAnswer = reason == ENOENT || reason == ENOTDIR || reason == ELOOP || reason == EACCES ||
            reason == ENAMETOOLONG || reason == ENXIO;
        if (mayPass)
            *mayPass = !isAnswer;
        return std::nullopt;
    };
    const QByteArray name = QFile::encodeName(path);
    // Without O_NONBLOCK a FIFO without writer would hold us up for ever.
    const UniqueFd descriptor(
        uninterrupted([&] { return open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
    if (!descriptor.isOpen())
        return refused(errno);
    struct stat status {};
    if (fstat(descriptor.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > limit)
        return std::nullopt;
    // One byte more tells the end from a file that grows meanwhile.
    QByteArray bytes(static_cast<qsizetype>(status.st_size) + 1, Qt::Uninitialized);
    qsizetype filled = 0;
    for (;;) {
        if (filled == bytes.size())
            bytes.resize(std::min<qsizetype>(bytes.size() * 2, limit + 1));
        const auto room = static_cast<size_t>(bytes.size() - filled);
        const ssize_t count = uninterrupted([&] { return read(descriptor.get(), bytes.data() + filled, room); });
        if (count < 0)
            return refused(errno);
        if (count == 0)
            break;
        filled += count;
        if (filled > limit)
            return std::nullopt;
    }
    bytes.truncate(filled);
    return bytes;
}

Error replaceFile(const QString& path, const QByteArray& bytes, Durability durability, mode_t mode) {
    const QByteArray target = QFile::encodeName(path);
    const bool isSynced = durability == Durability::Synced;
    // Six times the same letter asks for a name that is free.
    QByteArray name = QFile::encodeName(QFileInfo(path).path()) + "/.mav-" + QByteArray(6, 'X');
    UniqueFd descriptor(mkostemp(name.data(), O_CLOEXEC));
    if (!descriptor.isOpen())
        return systemError(errno);
    // The mode given at opening is cut by the umask.
    const bool isWritten = fchmod(descriptor.get(), mode) == 0 && writeAll(descriptor.get(), bytes) &&
        (!isSynced || uninterrupted([&] { return fsync(descriptor.get()); }) == 0) && descriptor.close() &&
        rename(name.constData(), target.constData()) == 0;
    if (!isWritten) {
        const int reason = errno;
        unlink(name.constData());
        return systemError(reason);
    }
    return isSynced && !syncFolderOf(path) ? systemError(errno) : Error();
}

bool makeFolder(const QString& path, mode_t mode, bool intermediate) {
    const QByteArray name = QFile::encodeName(path);
    if (mkdir(name.constData(), mode) == 0)
        return chmod(name.constData(), mode) == 0;
    if (errno == ENOENT && intermediate) {
        const QString above = QFileInfo(path).path();
        return above != path && makeFolder(above, mode, true) && makeFolder(path, mode, false);
    }
    struct stat status {};
    return stat(name.constData(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool makePrivateFolder(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    struct stat status {};
    if (!makeFolder(path) || ::lstat(name.constData(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid != ::geteuid())
        return false;
    return (status.st_mode & 0077) == 0 || ::chmod(name.constData(), 0700) == 0;
}

} // namespace Platform
