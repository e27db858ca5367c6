#include "InstanceLock.h"

#include "Files.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QLocalSocket>
#include <QThread>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr std::chrono::milliseconds Pause{20};
constexpr int WaitingKnocks = 16;

/// A connection says all; what waits to be accepted reaches a busy holder, too.
bool knock(const QString& socketFile) {
    QLocalSocket socket;
    socket.connectToServer(socketFile);
    return socket.waitForConnected(static_cast<int>(Pause.count()));
}

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
            listen();
            return Outcome::Held;
        }
        if (errno != EWOULDBLOCK)
            return Outcome::Unusable;
        if (knock(m_socketFile) || deadline.hasExpired())
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

/// By hand, since the toolkit's server needs an application object and knocks may come before there is one.
void InstanceLock::listen() {
    sockaddr_un address{};
    const QByteArray name = QFile::encodeName(m_socketFile);
    if (name.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    QFile::remove(m_socketFile);
    UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // Nobody else gets into the folder, so that the socket needs no mode of its own.
    if (::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(listener.get(), WaitingKnocks) == 0)
        m_listener = std::move(listener);
}

void InstanceLock::hear() {
    if (!m_listener.isOpen() || !m_server.listen(m_listener.release()))
        return;
    // Those that have waited are one.
    bool hasWaited = false;
    while (m_server.waitForNewConnection(0)) {
        delete m_server.nextPendingConnection();
        hasWaited = true;
    }
    if (hasWaited)
        m_knocked();
    QObject::connect(&m_server, &QLocalServer::newConnection, &m_server, [this] {
        while (QLocalSocket* peer = m_server.nextPendingConnection()) {
            delete peer;
            m_knocked();
        }
    });
}

} // namespace Platform
