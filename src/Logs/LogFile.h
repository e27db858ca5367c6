#pragma once

#include <QByteArray>
#include <QString>

#include <sys/types.h>

/// The open handle on one log file; every write goes to its end. For one thread.
class LogFile final {
public:
    LogFile() = default;
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    /// The file to work on; drops the handle on the one before. Opens nothing.
    void setPath(const QString& path);

    /// Opens the file as it is. False when there is none or it cannot be written.
    bool openExisting();
    /// Deletes what has the file's name and opens an empty file instead.
    bool openFresh();
    /// Whether the file exists on disk; every so many calls also whether it is still the open one. Opens the handle
    /// anew when the file there is another one by now, or when it could not be opened before.
    bool isAvailable();
    /// Size of the open file, 0 without one.
    qint64 size() const;
    /// Appends @p bytes as a whole or not at all; what cannot be written is lost.
    void append(QByteArrayView bytes);

private:
    bool openWith(int flags);
    bool isReplaced() const;
    void closeHandle();

    QByteArray m_path;
    /// Name in m_folder.
    QByteArray m_name;
    int m_folder = -1;
    int m_descriptor = -1;
    unsigned m_calls = 0;
    dev_t m_device = 0;
    ino_t m_inode = 0;
};
