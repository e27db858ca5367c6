#include "InstanceLock.h"

#include "Files.h"
#include "UnixSocket.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr std::chrono::milliseconds Pause{20};
constexpr int WaitingKnocks = 16;

} // namespace

InstanceLock::InstanceLock(QString folder, const QString& name, std::function<void()> knocked)
    : m_folder(std::move(folder)), m_lockFile(m_folder + u'/' + name + u".lock"_s),
      m_socketFile(m_folder + u'/' + name + u".socket"_s), m_knocked(std::move(knocked)) {}

InstanceLock::~InstanceLock() {
    // The locked file stays: removing it would let two copies hold locks on two files of one name.
    if (m_lock.isOpen())
        QFile::remove(m_socketFile);
}

InstanceLock::Outcome InstanceLock::acquire(std::chrono::milliseconds limit) {
    if (!makePrivateFolder(m_folder))
        return Outcome::Unusable;
    const QDeadlineTimer deadline(limit);
    for (;;) {
        if (takeLock()) {
            m_listener = UnixSocket::listenAt(m_socketFile, WaitingKnocks);
            return Outcome::Held;
        }
        if (errno != EWOULDBLOCK)
            return Outcome::Unusable;
        // A connection says all; what waits to be accepted reaches a busy holder, too.
        if (UnixSocket::connectTo(m_socketFile).isOpen() || errno == EAGAIN || deadline.hasExpired())
            return Outcome::HeldByOther;
        QThread::msleep(Pause.count());
    }
}

// Not by the toolkit's lock file, which judges one that was left behind by number and name of its holder: the kernel
// takes this lock from whoever ends, however it ends.
bool InstanceLock::takeLock() {
    UniqueFd file(::open(QFile::encodeName(m_lockFile).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.isOpen() || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return false;
    // For people who look for the holder; nothing reads it.
    if (::ftruncate(file.get(), 0) == 0)
        writeAll(file.get(), QByteArray::number(::getpid()) + '\n');
    m_lock = std::move(file);
    return true;
}

// Not by the toolkit's local server, which closes itself when once no descriptor is free.
void InstanceLock::hear() {
    if (!m_listener.isOpen())
        return;
    m_notifier = std::make_unique<QSocketNotifier>(m_listener.get(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { takeKnocks(); });
    takeKnocks();
}

/// Those that wait are one.
void InstanceLock::takeKnocks() {
    bool isKnocked = false;
    while (UniqueFd(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC)).isOpen())
        isKnocked = true;
    if (isKnocked)
        m_knocked();
}

} // namespace Platform
