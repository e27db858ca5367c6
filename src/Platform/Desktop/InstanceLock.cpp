#include "InstanceLock.h"

#include "Files.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr int PauseMilliseconds = 20;
constexpr int WaitingKnocks = 16;

/// False for a path that does not fit.
bool fill(sockaddr_un& address, const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    if (name.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return false;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    return true;
}

int unixSocket() {
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

} // namespace

InstanceLock::InstanceLock(QString folder, const QString& name, std::function<void()> knocked)
    : m_folder(std::move(folder)), m_lockFile(m_folder + u'/' + name + u".lock"_s),
      m_socketFile(m_folder + u'/' + name + u".socket"_s), m_knocked(std::move(knocked)) {}

InstanceLock::~InstanceLock() {
    m_notifier.reset();
    if (m_listener >= 0) {
        ::unlink(QFile::encodeName(m_socketFile).constData());
        ::close(m_listener);
    }
    // The file stays: removing it would let two copies hold locks on two files of one name.
    if (m_lock >= 0)
        ::close(m_lock);
}

InstanceLock::Outcome InstanceLock::acquire(std::chrono::milliseconds limit) {
    if (!makePrivateFolder(m_folder))
        return Outcome::Unusable;
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        if (takeLock()) {
            listen();
            return Outcome::Held;
        }
        if (errno != EWOULDBLOCK)
            return Outcome::Unusable;
        if (knock() || timer.hasExpired(limit.count()))
            return Outcome::HeldByOther;
        ::poll(nullptr, 0, PauseMilliseconds);
    }
}

bool InstanceLock::takeLock() {
    const int descriptor =
        ::open(QFile::encodeName(m_lockFile).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0)
        return false;
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        const int reason = errno;
        ::close(descriptor);
        errno = reason;
        return false;
    }
    // For people who look for the holder; nothing reads it.
    const QByteArray number = QByteArray::number(::getpid()) + '\n';
    if (::ftruncate(descriptor, 0) == 0 &&
        ::write(descriptor, number.constData(), static_cast<size_t>(number.size())) < 0)
        errno = 0;
    m_lock = descriptor;
    return true;
}

void InstanceLock::listen() {
    sockaddr_un address{};
    const int descriptor = unixSocket();
    if (descriptor < 0)
        return;
    ::unlink(QFile::encodeName(m_socketFile).constData());
    // Nobody else gets into the folder, so that the socket needs no mode of its own.
    if (!fill(address, m_socketFile) ||
        ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(descriptor, WaitingKnocks) != 0) {
        ::close(descriptor);
        return;
    }
    m_listener = descriptor;
    m_notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { acceptAll(); });
}

/// A connection says all; what waits to be accepted reaches a busy holder, too. True as well when its queue is full of
/// knocks.
bool InstanceLock::knock() const {
    sockaddr_un address{};
    const int descriptor = unixSocket();
    if (descriptor < 0 || !fill(address, m_socketFile)) {
        if (descriptor >= 0)
            ::close(descriptor);
        return false;
    }
    const bool isHeard =
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno == EAGAIN;
    ::close(descriptor);
    return isHeard;
}

void InstanceLock::acceptAll() {
    for (int count = 0; count < WaitingKnocks; ++count) {
        const int peer = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (peer < 0)
            return;
        ucred credentials{};
        socklen_t size = sizeof credentials;
        const bool isOwn =
            ::getsockopt(peer, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0 && credentials.uid == ::geteuid();
        ::close(peer);
        if (isOwn)
            m_knocked();
    }
}

} // namespace Platform
