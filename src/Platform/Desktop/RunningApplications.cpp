#include "RunningApplications.h"

#include "InstanceLock.h"
#include "SystemLog.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QUuid>

#include <optional>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

const QString ApplicationInterface = u"org.freedesktop.Application"_s;
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

class RunningApplications::Bus final {
public:
    Bus(const Place& place, Inbox& inbox)
        : m_place(place), m_name(QUuid::createUuid().toString()),
          m_connection(place.busAddress.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_name)
                                                  : QDBusConnection::connectToBus(place.busAddress, m_name)) {
        new ApplicationAdaptor(&m_object, [&inbox] { inbox.activate(); });
    }
    ~Bus() { QDBusConnection::disconnectFromBus(m_name); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Nothing when there is no bus, or none that answers.
    std::optional<Claim> claim() {
        // The object comes before the name: whoever finds the name owned finds somebody to talk to.
        if (!m_connection.isConnected() || !m_connection.registerObject(objectPath(), &m_object))
            return std::nullopt;
        for (int attempt = 0; attempt < Attempts; ++attempt) {
            const QVariant answer = ask(u"RequestName"_s, {m_place.identifier, DoNotQueue});
            if (!answer.isValid())
                return std::nullopt;
            if (answer.toUInt() == PrimaryOwner || answer.toUInt() == AlreadyOwner)
                return Claim::First;
            const QVariant owner = ask(u"GetConnectionUnixProcessID"_s, {m_place.identifier});
            if (owner.isValid() && owner.toLongLong() == QCoreApplication::applicationPid())
                return Claim::First;
            if (activateOwner() || ask(u"NameHasOwner"_s, {m_place.identifier}).toBool())
                return Claim::Second;
        }
        return Claim::Second;
    }

private:
    QString objectPath() const { return u'/' + QString(m_place.identifier).replace(u'.', u'/').replace(u'-', u'_'); }

    /// First value of the bus's answer; invalid without one.
    QVariant ask(const QString& method, const QVariantList& arguments) {
        auto message = QDBusMessage::createMethodCall(BusService, u"/org/freedesktop/DBus"_s, BusService, method);
        message.setArguments(arguments);
        return call(message).arguments().value(0);
    }

    bool activateOwner() {
        auto message =
            QDBusMessage::createMethodCall(m_place.identifier, objectPath(), ApplicationInterface, u"Activate"_s);
        // An owner that has just gone must not be started again by the bus: we are here.
        message.setAutoStartService(false);
        message.setArguments({QVariantMap()});
        return m_connection.call(message, QDBus::Block, static_cast<int>(m_place.limit.count())).type() ==
            QDBusMessage::ReplyMessage;
    }

    QDBusMessage call(const QDBusMessage& message) {
        const QDBusMessage reply = m_connection.call(message, QDBus::Block, static_cast<int>(m_place.limit.count()));
        return reply.type() == QDBusMessage::ReplyMessage ? reply : QDBusMessage();
    }

    const Place& m_place;
    const QString m_name;
    QDBusConnection m_connection;
    QObject m_object;
};

RunningApplications::RunningApplications(Place place) : m_place(std::move(place)), m_inbox(std::make_unique<Inbox>()) {}

RunningApplications::~RunningApplications() = default;

RunningApplications::Claim RunningApplications::claim() {
    m_bus = std::make_unique<Bus>(m_place, *m_inbox);
    if (const auto claim = m_bus->claim())
        return *claim;
    m_bus.reset();
    m_lock = std::make_unique<InstanceLock>(m_place.runtimeFolder, m_place.identifier, [this] { m_inbox->activate(); });
    switch (m_lock->acquire(m_place.limit)) {
    case InstanceLock::Outcome::Held:
        break;
    case InstanceLock::Outcome::HeldByOther:
        return Claim::Second;
    case InstanceLock::Outcome::Unusable:
        systemLog(u"no session bus and no lock in %1: a second copy will not be noticed"_s.arg(m_place.runtimeFolder));
        break;
    }
    return Claim::First;
}

void RunningApplications::setActivationHandler(std::function<void()> activated) {
    m_inbox->setHandler(std::move(activated));
}

} // namespace Platform

#include "RunningApplications.moc"
