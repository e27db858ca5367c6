#include "RunningApplications.h"

#include "ActivateApplication.h"
#include "BusConnection.h"
#include "InstanceLock.h"
#include "SystemLog.h"

#include <QDBusAbstractAdaptor>
#include <QSysInfo>

#include <optional>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

const QString BusService = u"org.freedesktop.DBus"_s;
constexpr uint DoNotQueue = 4;
constexpr uint PrimaryOwner = 1;
constexpr uint AlreadyOwner = 4;
/// How often a name may fall free between two questions before we take it as owned.
constexpr int Attempts = 3;

} // namespace

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
