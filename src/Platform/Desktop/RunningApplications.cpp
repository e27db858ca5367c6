#include "RunningApplications.h"

#include "BusConnection.h"
#include "Files.h"
#include "SystemLog.h"
#include "UnixSocket.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QSysInfo>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

const QString BusService = u"org.freedesktop.DBus"_s;
constexpr uint DoNotQueue = 4;
constexpr uint PrimaryOwner = 1;
constexpr uint AlreadyOwner = 4;
/// How often a name may fall free between two questions before we take it as owned.
constexpr int Attempts = 3;
/// Between two looks at a holder that has not opened its socket.
constexpr std::chrono::milliseconds Pause{20};
constexpr int WaitingKnocks = 16;

/// A home may be shared by computers, each with a copy of its own.
QString fileOf(const RunningApplications::Place& place, const QString& ending) {
    return place.folder + u'/' + place.identifier + u'.' + QSysInfo::machineHostName() + ending;
}

} // namespace

RunningApplications::RunningApplications(Place place, BusConnection& bus)
    : m_place(std::move(place)), m_bus(bus), m_lockFile(fileOf(m_place, u".lock"_s)),
      m_socketFile(fileOf(m_place, u".socket"_s)) {}

RunningApplications::~RunningApplications() {
    // The locked file stays: removing it would let two copies hold locks on two files of one name.
    if (m_lock.isOpen())
        QFile::remove(m_socketFile);
}

RunningApplications::Claim RunningApplications::claim() {
    const auto byLock = claimByLock();
    if (byLock == Claim::Second)
        return Claim::Second;
    const auto byName = claimByName();
    if (!byLock && !byName)
        systemLog(u"no session bus and no lock in %1: a second copy will not be noticed"_s.arg(m_place.folder));
    return byName.value_or(Claim::First);
}

/// Takes the lock, or knocks at the socket beside it. A holder that has not opened its socket yet is waited for.
/// Nothing where no lock can be had.
std::optional<RunningApplications::Claim> RunningApplications::claimByLock() {
    if (!makePrivateFolder(m_place.folder))
        return std::nullopt;
    const QDeadlineTimer deadline(m_place.limit);
    while (!takeLock()) {
        if (errno != EWOULDBLOCK)
            return std::nullopt;
        // A connection says all; what waits to be accepted reaches a busy holder, too.
        if (UnixSocket::connectTo(m_socketFile).isOpen() || errno == EAGAIN || deadline.hasExpired())
            return Claim::Second;
        QThread::msleep(Pause.count());
    }
    m_listener = UnixSocket::listenAt(m_socketFile, WaitingKnocks);
    return Claim::First;
}

// Not by the toolkit's lock file, which judges one that was left behind by number and name of its holder: the kernel
// takes this lock from whoever ends, however it ends. False with errno.
bool RunningApplications::takeLock() {
    UniqueFd file(::open(QFile::encodeName(m_lockFile).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.isOpen() || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return false;
    m_lock = std::move(file);
    return true;
}

/// Nothing when there is no bus, or none that answers.
std::optional<RunningApplications::Claim> RunningApplications::claimByName() {
    const QString& name = m_place.identifier;
    // The object comes before the name: whoever finds the name owned finds somebody to talk to.
    if (!m_bus.connection().registerObject(applicationObjectPath(name), this, QDBusConnection::ExportScriptableSlots))
        return std::nullopt;
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        const QVariant answer = askBus(u"RequestName"_s, {name, DoNotQueue});
        if (!answer.isValid())
            return std::nullopt;
        if (answer.toUInt() == PrimaryOwner || answer.toUInt() == AlreadyOwner)
            return Claim::First;
        if (activateRunningApplication(m_bus, name) || askBus(u"NameHasOwner"_s, {name}).toBool())
            break;
    }
    return Claim::Second;
}

/// First value of the bus's answer; invalid without one.
QVariant RunningApplications::askBus(const QString& method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(BusService, u"/org/freedesktop/DBus"_s, BusService, method);
    message.setArguments(arguments);
    const QDBusMessage reply = m_bus.call(message);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

void RunningApplications::setActivationHandler(std::function<void()> activated) {
    // Not by the toolkit's local server, which closes itself when once no descriptor is free.
    if (m_listener.isOpen()) {
        m_notifier = std::make_unique<QSocketNotifier>(m_listener.get(), QSocketNotifier::Read);
        connect(m_notifier.get(), &QSocketNotifier::activated, this, &RunningApplications::takeKnocks);
        takeKnocks();
    }
    m_handler = std::move(activated);
    // Later, so that whoever sets the handler is done with its own preparations.
    QMetaObject::invokeMethod(this, &RunningApplications::deliver, Qt::QueuedConnection);
}

/// Those that wait are one.
void RunningApplications::takeKnocks() {
    bool isKnocked = false;
    while (UniqueFd(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC)).isOpen())
        isKnocked = true;
    if (isKnocked)
        activate();
}

/// Kept until somebody wants it.
void RunningApplications::activate() {
    m_isWaiting = true;
    deliver();
}

void RunningApplications::deliver() {
    if (!m_handler || !std::exchange(m_isWaiting, false))
        return;
    // A copy: the handler may set another one.
    const auto handler = m_handler;
    handler();
}

} // namespace Platform
