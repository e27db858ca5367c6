#include "FileEventStream.h"

#include "SystemLog.h"

#include <QFile>
#include <QFileInfo>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

// A write in place counts when it happens, not only when the writer closes: some writers never do.
constexpr quint32 Interesting = IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
    IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr size_t BufferSize = 64 * 1024;

QString folderOf(const QString& path) {
    return path.left(std::max<qsizetype>(path.lastIndexOf(u'/'), 1));
}

QString nameOf(const QString& path) {
    return path.mid(path.lastIndexOf(u'/') + 1);
}

/// The child of @p parent on the way to @p folder.
QString nextTowards(const QString& parent, const QString& folder) {
    const qsizetype start = parent == u"/"_s ? 1 : parent.size() + 1;
    return folder.left(folder.indexOf(u'/', start) < 0 ? folder.size() : folder.indexOf(u'/', start));
}

} // namespace

FileEventStream::FileEventStream(
    QStringList paths, std::chrono::milliseconds latency, std::function<void(const QStringList&)> callback)
    : m_paths(std::move(paths)), m_latency(latency), m_callback(std::move(callback)),
      m_inotify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    for (const QString& path : m_paths) {
        const QString folder = folderOf(path);
        const auto known = std::ranges::find(m_folders, folder, &Folder::path);
        if (known == m_folders.end())
            m_folders.append({folder, {nameOf(path)}});
        else
            known->names << nameOf(path);
    }
}

void FileEventStream::stop() {
    m_stopped = true;
    eventfd_write(m_wake.get(), 1);
}

bool FileEventStream::addWatch(const QString& path) {
    const int descriptor = inotify_add_watch(m_inotify.get(), QFile::encodeName(path).constData(), Interesting);
    if (descriptor < 0)
        return false;
    m_watches.insert(descriptor, path);
    return true;
}

/// Watches @p folder, or the nearest of its parents that exists, so that its coming is noticed. Returns what is
/// watched.
QString FileEventStream::watchFolder(Folder& folder, bool filesAreNews) {
    QString path;
    // Again when the next folder on the way came between its failed watch and that of its parent; a folder that exists
    // but may not be read is given up after a few tries.
    for (int attempt = 0; attempt < 3; ++attempt) {
        path = folder.path;
        while (!addWatch(path) && path != u"/"_s)
            path = folderOf(path);
        if (path == folder.path || !QFileInfo(nextTowards(path, folder.path)).isDir())
            break;
    }
    const bool cameNow = path == folder.path && !folder.present;
    folder.present = path == folder.path;
    if (cameNow && filesAreNews) {
        for (const QString& name : std::as_const(folder.names)) {
            if (QFileInfo::exists(folder.path + u'/' + name))
                changed(folder.path + u'/' + name);
        }
    }
    return path;
}

void FileEventStream::watchAll(bool filesAreNews) {
    QStringList needed;
    for (Folder& folder : m_folders)
        needed << watchFolder(folder, filesAreNews);
    // A parent is watched only while its child is awaited: what else happens there must not wake anybody.
    for (auto watch = m_watches.begin(); watch != m_watches.end();) {
        if (needed.contains(watch.value())) {
            ++watch;
        } else {
            inotify_rm_watch(m_inotify.get(), watch.key());
            watch = m_watches.erase(watch);
        }
    }
}

void FileEventStream::changed(const QString& path) {
    if (m_pending.contains(path))
        return;
    if (m_pending.isEmpty())
        m_due = Clock::now() + m_latency;
    m_pending << path;
}

/// @p path went away, or moved, with whatever it held.
void FileEventStream::folderMoved(const QString& path) {
    for (auto watch = m_watches.begin(); watch != m_watches.end();) {
        if (watch.value() == path || watch.value().startsWith(path + u'/')) {
            inotify_rm_watch(m_inotify.get(), watch.key());
            watch = m_watches.erase(watch);
        } else {
            ++watch;
        }
    }
    for (Folder& folder : m_folders) {
        if (!folder.present || (folder.path != path && !folder.path.startsWith(path + u'/')))
            continue;
        folder.present = false;
        for (const QString& name : std::as_const(folder.names))
            changed(folder.path + u'/' + name);
    }
}

void FileEventStream::handle(int descriptor, quint32 mask, const QString& name) {
    if (mask & IN_Q_OVERFLOW) {
        for (const QString& path : m_paths)
            changed(path);
        watchAll(true);
        return;
    }
    const QString watched = m_watches.value(descriptor);
    if (watched.isEmpty())
        return;
    if (mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) {
        folderMoved(watched);
        watchAll(true);
        return;
    }
    const QString path = watched == u"/"_s ? u'/' + name : watched + u'/' + name;
    if (m_paths.contains(path)) {
        changed(path);
        return;
    }
    if (mask & IN_ISDIR) {
        if (mask & IN_MOVED_FROM)
            folderMoved(path);
        // One that its maker opens only after it was made counts when it is open.
        if (mask & (IN_CREATE | IN_MOVED_TO) || (mask & IN_ATTRIB && !name.isEmpty()))
            watchAll(true);
    }
}

void FileEventStream::readEvents() {
    alignas(inotify_event) char buffer[BufferSize];
    for (;;) {
        const ssize_t length = read(m_inotify.get(), buffer, sizeof buffer);
        if (length <= 0)
            return;
        for (const char* at = buffer; at < buffer + length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            handle(event->wd, event->mask, event->len > 0 ? QFile::decodeName(event->name) : QString());
            at += sizeof(inotify_event) + event->len;
        }
    }
}

/// Milliseconds until the pending changes are due, rounded up; -1 when there are none.
int FileEventStream::timeLeft() const {
    if (m_pending.isEmpty())
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due - Clock::now());
    return static_cast<int>(std::max<qint64>(left.count(), 0));
}

void FileEventStream::run() {
    watchAll(false);
    // Without one watch at the least, of "/", the kernel has nothing left to give.
    if (m_watches.isEmpty())
        systemLog(u"[FileEventStream] no file can be followed: %1"_s.arg(qt_error_string(errno)));
    while (!m_stopped) {
        pollfd sources[] = {{m_inotify.get(), POLLIN, 0}, {m_wake.get(), POLLIN, 0}};
        poll(sources, 2, timeLeft());
        if (m_stopped)
            return;
        if (sources[0].revents & POLLIN)
            readEvents();
        if (timeLeft() == 0) {
            const QStringList due = std::exchange(m_pending, {});
            m_callback(due);
        }
    }
}

} // namespace Platform
