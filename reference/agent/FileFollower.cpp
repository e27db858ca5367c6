#include "FileFollower.h"

#include <QDir>
#include <QFileInfo>

using namespace std::chrono_literals;

namespace ReferenceAgent {

namespace {

QString nearestFolder(const QString& path) {
    QString folder = QFileInfo(path).absolutePath();
    while (!QFileInfo(folder).isDir() && folder != QDir::rootPath())
        folder = QFileInfo(folder).absolutePath();
    return folder;
}

} // namespace

FileFollower::FileFollower(QString path) : m_path(std::move(path)) {
    m_silence.setSingleShot(true);
    m_silence.setInterval(100ms);
    connect(&m_silence, &QTimer::timeout, this, &FileFollower::changed);
    const auto onChange = [this] {
        follow();
        m_silence.start();
    };
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, onChange);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, onChange);
    follow();
}

void FileFollower::follow() {
    QString folder;
    // A folder that is made between the look and the watch is seen by the next look.
    while (folder != nearestFolder(m_path)) {
        folder = nearestFolder(m_path);
        for (const QString& watched : m_watcher.directories()) {
            if (watched != folder)
                m_watcher.removePath(watched);
        }
        if (!m_watcher.directories().contains(folder))
            m_watcher.addPath(folder);
    }
    // A replaced file is a new one to the watcher.
    if (!m_watcher.files().contains(m_path) && QFileInfo::exists(m_path))
        m_watcher.addPath(m_path);
}

} // namespace ReferenceAgent
