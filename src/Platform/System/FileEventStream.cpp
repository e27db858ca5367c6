#include "FileEventStream.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

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
/// How often a folder that comes while its parent's watch is made is looked for again.
constexpr int MostTries = 3;

} // namespace

FileEventStream::FileEventStream(const QStringList& paths, std::chrono::milliseconds latency,
    std::function<void(const QStringList&)> callback, std::function<void(const QString&)> tell)
    : m_latency(latency), m_callback(std::move(callback)), m_tell(std::move(tell)),
      m_inotify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    for (const QString& path : paths) {
        const QFileInfo file(path);
        const auto known = std::ranges::find(m_folders, file.path(), &Folder::path);
        if (known == m_folders.end())
            m_folders.append({file.path(), {file.fileName()}});
        else
            known->names << file.fileName();
    }
}

void FileEventStream::stop() {
    m_stopped = true;
    eventfd_write(m_wake.get(), 1);
}

int FileEventStream::addWatch(const QString& path) {
    const int watch = inotify_add_watch(m_inotify.get(), QFile::encodeName(path).constData(), Interesting);
    if (watch < 0 && errno != ENOENT && errno != ENOTDIR && errno != EACCES)
        m_lack = errno;
    return watch;
}

/// Watches @p folder, or the nearest of its parents that exists, so that its coming is noticed. Returns whether that is
/// another one than before.
bool FileEventStream::watch(Folder& folder, bool filesAreNews) {
    QString path = folder.path;
    int watch = addWatch(path);
    while (watch < 0 && path != u"/"_s) {
        path = QFileInfo(path).path();
        watch = addWatch(path);
    }
    if (std::exchange(folder.watch, watch) == watch)
        return false;
    const bool wasThere = std::exchange(folder.isThere, path == folder.path);
    for (const QString& name : std::as_const(folder.names)) {
        const QString file = folder.path + u'/' + name;
        if (filesAreNews && (wasThere || QFileInfo::exists(file)))
            changed(file);
    }
    return true;
}

void FileEventStream::watchAll(bool filesAreNews) {
    const int lackedBefore = std::exchange(m_lack, 0);
    QSet<int> before;
    for (const Folder& folder : std::as_const(m_folders))
        before << folder.watch;
    for (Folder& folder : m_folders) {
        // Again: the next folder on the way may have come between its failed watch and that of its parent.
        for (int i = 0; i < MostTries && watch(folder, filesAreNews); ++i)
            before << folder.watch;
    }
    // A parent is watched only while its child is awaited: what else happens there must not wake anybody.
    for (const Folder& folder : std::as_const(m_folders))
        before.remove(folder.watch);
    for (const int unused : std::as_const(before))
        inotify_rm_watch(m_inotify.get(), unused);
    if (m_lack && !lackedBefore)
        m_tell(u"[FileEventStream] files cannot be followed: %1"_s.arg(qt_error_string(m_lack)));
    else if (lackedBefore && !m_lack)
        m_tell(u"[FileEventStream] files are followed again"_s);
}

void FileEventStream::changed(const QString& path) {
    if (m_pending.contains(path))
        return;
    if (m_pending.isEmpty())
        m_due = Clock::now() + m_latency;
    m_pending << path;
}

/// Returns whether folders may have come or gone.
bool FileEventStream::handle(int descriptor, quint32 mask, const QString& name) {
    for (const Folder& folder : std::as_const(m_folders)) {
        if (mask & IN_Q_OVERFLOW) {
            for (const QString& lost : folder.names)
                changed(folder.path + u'/' + lost);
        } else if (folder.watch == descriptor && folder.isThere && folder.names.contains(name)) {
            changed(folder.path + u'/' + name);
        }
    }
    // A folder that its maker opens only after it was made counts when it is open.
    return (mask & (IN_Q_OVERFLOW | IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) ||
        ((mask & IN_ISDIR) && !name.isEmpty());
}

void FileEventStream::readEvents() {
    alignas(inotify_event) char buffer[BufferSize];
    bool isMoved = false;
    ssize_t length = 0;
    while ((length = read(m_inotify.get(), buffer, sizeof buffer)) > 0) {
        for (const char* at = buffer; at < buffer + length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(at);
            isMoved |= handle(event->wd, event->mask, event->len > 0 ? QFile::decodeName(event->name) : QString());
            at += sizeof(inotify_event) + event->len;
        }
    }
    if (isMoved)
        watchAll(true);
}

/// Milliseconds until the pending changes are due, rounded up. Without any, until the kernel is asked again for what it
/// did not give, which may be what ends the wait; else -1.
int FileEventStream::timeLeft() const {
    if (m_pending.isEmpty())
        return m_lack || !m_wake.isOpen() ? static_cast<int>(4 * m_latency.count()) : -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_due - Clock::now());
    return static_cast<int>(std::max<qint64>(left.count(), 0));
}

void FileEventStream::askAgain() {
    if (!m_inotify.isOpen())
        m_inotify = UniqueFd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    watchAll(true);
}

void FileEventStream::run() {
    watchAll(false);
    while (!m_stopped) {
        pollfd sources[] = {{m_inotify.get(), POLLIN, 0}, {m_wake.get(), POLLIN, 0}};
        poll(sources, 2, timeLeft());
        if (m_stopped)
            return;
        if (m_lack)
            askAgain();
        if (sources[0].revents & POLLIN)
            readEvents();
        if (timeLeft() == 0) {
            const QStringList due = std::exchange(m_pending, {});
            m_callback(due);
        }
    }
}

} // namespace Platform
