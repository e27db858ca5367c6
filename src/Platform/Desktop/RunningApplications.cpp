#include "RunningApplications.h"

#include "BusConnection.h"
#include "Files.h"
#include "SystemLog.h"
#include "UnixSocket.h"

#include <QDBusAbstractAdaptor>
#include <QDeadlineTimer>
#include <QFile>
#include <QSocketNotifier>
#include <QSysInfo>
#include <QThread>

#include <optional>

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

} // namespace

/// The single copy of a program by a locked file, with a socket beside it at which others knock. Main thread.
class InstanceLock final {
public:
    enum class Outcome { Held, HeldByOther, Unusable };

    /// @param folder  made when missing; must be the user's own
    /// @param knocked  called from the event loop for each knock of another copy
    InstanceLock(QString folder, const QString& name, std::function<void()> knocked);
    ~InstanceLock();

    /// Takes the lock, or knocks at its holder. A holder that has not opened its socket yet is waited for, at most @p
    /// limit. Needs no application object.
    Outcome acquire(std::chrono::milliseconds limit);
    /// Hears knocks from now on, those that wait included. Needs the application object.
    void hear();

private:
    /// False with errno.
    bool takeLock();
    void takeKnocks();

    const QString m_folder;
    const QString m_lockFile;
    const QString m_socketFile;
    const std::function<void()> m_knocked;
    UniqueFd m_lock;
    UniqueFd m_listener;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

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

/// Keeps activations until somebody wants them.
class RunningApplications::Inbox final : public QObject {
public:
    void activate() {
        m_isWaiting = true;
        deliver();
    }
    void setHandler(std::function<void()> handler) {
        m_handler = std::move(handler);
        // Later, so that whoever sets the handler is done with its own preparations.
        QMetaObject::invokeMethod(
            this, [this] { deliver(); }, Qt::QueuedConnection);
    }

private:
    void deliver() {
        if (!m_handler || !std::exchange(m_isWaiting, false))
            return;
        // A copy: the handler may set another one.
        const auto handler = m_handler;
        handler();
    }

    std::function<void()> m_handler;
    bool m_isWaiting = false;
};

/// What the desktop may ask of an application. Whatever it is, the window comes forward: there are no documents to
/// open.
class ApplicationAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    ApplicationAdaptor(QObject* parent, std::function<void()> activated)
        : QDBusAbstractAdaptor(parent), m_activated(std::move(activated)) {}

public Q_SLOTS: // Named as the interface wants it.
    void Activate(const QVariantMap&) { m_activated(); }
    void Open(const QStringList&, const QVariantMap&) { m_activated(); }
    void ActivateAction(const QString&, const QVariantList&, const QVariantMap&) { m_activated(); }

private:
    const std::function<void()> m_activated;
};

/// The identifier as a name on the bus, and the object behind it.
class RunningApplications::Name final {
public:
    Name(QString identifier, BusConnection& bus, Inbox& inbox) : m_identifier(std::move(identifier)), m_bus(bus) {
        new ApplicationAdaptor(&m_object, [&inbox] { inbox.activate(); });
    }
    ~Name() { ask(u"ReleaseName"_s, {m_identifier}); }
    Name(const Name&) = delete;
    Name& operator=(const Name&) = delete;

    /// Nothing when there is no bus, or none that answers.
    std::optional<Claim> claim() {
        // The object comes before the name: whoever finds the name owned finds somebody to talk to.
        if (!m_bus.connection().registerObject(applicationObjectPath(m_identifier), &m_object))
            return std::nullopt;
        for (int attempt = 0; attempt < Attempts; ++attempt) {
            const QVariant answer = ask(u"RequestName"_s, {m_identifier, DoNotQueue});
            if (!answer.isValid())
                return std::nullopt;
            if (answer.toUInt() == PrimaryOwner || answer.toUInt() == AlreadyOwner)
                return Claim::First;
            if (activateRunningApplication(m_bus, m_identifier) || ask(u"NameHasOwner"_s, {m_identifier}).toBool())
                return Claim::Second;
        }
        return Claim::Second;
    }

private:
    /// First value of the bus's answer; invalid without one.
    QVariant ask(const QString& method, const QVariantList& arguments) {
        auto message = QDBusMessage::createMethodCall(BusService, u"/org/freedesktop/DBus"_s, BusService, method);
        message.setArguments(arguments);
        const QDBusMessage reply = m_bus.call(message);
        return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
    }

    const QString m_identifier;
    BusConnection& m_bus;
    QObject m_object;
};

RunningApplications::RunningApplications(Place place, BusConnection& bus)
    : m_place(std::move(place)), m_bus(bus), m_inbox(std::make_unique<Inbox>()) {}

RunningApplications::~RunningApplications() = default;

RunningApplications::Claim RunningApplications::claim() {
    // A home may be shared by computers, each with a copy of its own.
    m_lock = std::make_unique<InstanceLock>(
        m_place.folder, m_place.identifier + u'.' + QSysInfo::machineHostName(), [this] { m_inbox->activate(); });
    const auto outcome = m_lock->acquire(m_place.limit);
    if (outcome == InstanceLock::Outcome::HeldByOther)
        return Claim::Second;
    m_name = std::make_unique<Name>(m_place.identifier, m_bus, *m_inbox);
    if (const auto claim = m_name->claim())
        return *claim;
    m_name.reset();
    if (outcome == InstanceLock::Outcome::Unusable)
        systemLog(u"no session bus and no lock in %1: a second copy will not be noticed"_s.arg(m_place.folder));
    return Claim::First;
}

void RunningApplications::setActivationHandler(std::function<void()> activated) {
    if (m_lock)
        m_lock->hear();
    m_inbox->setHandler(std::move(activated));
}

} // namespace Platform

#include "RunningApplications.moc"
