#pragma once

#include "Error.h"

#include <QByteArray>
#include <QString>

#include <optional>

#include <sys/types.h>

using namespace Qt::StringLiterals;

namespace Platform {

inline const QString PosixErrorDomain = u"NSPOSIXErrorDomain"_s;
/// The system's error of that number, with its text.
Error systemError(int number);

/// What tells one state of a file from another; all zero stands for no file.
struct FileIdentity {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 seconds = 0;
    qint64 nanoseconds = 0;

    bool operator==(const FileIdentity&) const = default;
};
/// The file at @p path as it is now: one system call, and nothing is opened.
FileIdentity fileIdentity(const QString& path);

enum class Durability {
    /// A reader sees the old or the new file, also when this process is killed.
    Plain,
    /// The same after a loss of power: file and folder are synced, which can take a hundred milliseconds.
    Synced,
};

/// All bytes of the regular file @p path. Nothing when it does not exist, cannot be read, is no regular file or has
/// more than @p limit bytes, which is found out before any is read. Never waits for another process.
/// @param mayPass  set when nothing is known of the file: no descriptor was free, the disk gave an error. Whoever would
///                 write what he read must not take it for an empty one.
std::optional<QByteArray> readFile(const QString& path, qint64 limit, bool* mayPass = nullptr);

/// Puts @p bytes in the place of the file @p path, or makes it, through a temporary file of a name of its own in the
/// same folder. After an error the old file is untouched (unless only the syncing of its folder failed) and the
/// temporary one gone; the error has the system's number and text.
/// @param mode  exactly the permissions of the new file
Error replaceFile(
    const QString& path, const QByteArray& bytes, Durability durability = Durability::Plain, mode_t mode = 0600);

/// Makes what was renamed, made or removed beside @p path outlive a loss of power.
bool syncFolderOf(const QString& path);

/// True when @p path is a folder afterwards.
/// @param mode  permissions of every folder that is made
/// @param intermediate  makes missing folders above it as well
bool makeFolder(const QString& path, mode_t mode = 0700, bool intermediate = true);
/// True when @p path is a folder of this user that nobody else may enter afterwards; never by way of a link.
bool makePrivateFolder(const QString& path);

} // namespace Platform
