#include "QenCloudTicketHelper.h"

#include "Deployment.h"
#include "QenLogHelper.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>

#include <atomic>
#include <ctime>

using namespace Qt::StringLiterals;

namespace {

const QString ObjectPath = u"/"_s;
// Milliseconds that a service has for taking notice of the end.
constexpr int CloseLimit = 2000;

QDBusMessage call(const QString& operation) {
    return QDBusMessage::createMethodCall(
        Deployment::TicketServiceName, ObjectPath, Deployment::TicketProtocol, operation);
}

QString newConnectionName() {
    static std::atomic<int> count{0};
    return u"mav.ticket.%1"_s.arg(++count);
}

double secondsSinceEpoch() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

QenCloudTicketHelper::QenCloudTicketHelper(QenLogHelper& log, QString busAddress, std::chrono::milliseconds replyLimit)
    : m_log(log), m_busAddress(std::move(busAddress)), m_replyLimit(replyLimit),
      m_queue(Deployment::TicketServiceName) {
    initialConnection();
}

QenCloudTicketHelper::~QenCloudTicketHelper() {
    m_queue.drain();
    if (!m_connectionName.isEmpty())
        QDBusConnection::disconnectFromBus(m_connectionName);
}

QenCloudTicketHelper& QenCloudTicketHelper::sharedInstance() {
    static auto* instance = new QenCloudTicketHelper(QenLogHelper::sharedInstance());
    return *instance;
}

bool QenCloudTicketHelper::connectIfClosed() {
    const std::lock_guard lock(m_mutex);
    if (!m_connectionName.isEmpty())
        return false;
    connectToBus();
    return true;
}

void QenCloudTicketHelper::connectToBus() {
    m_connectionName = newConnectionName();
    if (m_busAddress.isEmpty())
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    else
        QDBusConnection::connectToBus(m_busAddress, m_connectionName);
}

void QenCloudTicketHelper::initialConnection() {
    connectIfClosed();
}

std::optional<QDBusConnection> QenCloudTicketHelper::connection() {
    const std::lock_guard lock(m_mutex);
    if (m_connectionName.isEmpty())
        return std::nullopt;
    if (!QDBusConnection(m_connectionName).isConnected()) {
        // The bus was missing or went away; whether the service behind it is new, it says itself.
        QDBusConnection::disconnectFromBus(m_connectionName);
        connectToBus();
    }
    return QDBusConnection(m_connectionName);
}

bool QenCloudTicketHelper::isConnected() const {
    const std::lock_guard lock(m_mutex);
    return !m_connectionName.isEmpty();
}

void QenCloudTicketHelper::runTicketXPC() {
    connectIfClosed();
    m_queue.async([this] {
        const auto bus = connection();
        if (!bus)
            return;
        const QDBusReply<bool> started =
            bus->call(call(u"startRunProxy"_s), QDBus::Block, static_cast<int>(m_replyLimit.count()));
        m_log.writeLog(started.isValid() && started.value() ? u"[QenCloudTicketHelper] QenCloud Service run Success"_s
                                                            : u"[QenCloudTicketHelper] QenCloud Service run Fail"_s);
    });
}

bool QenCloudTicketHelper::checkXPCServiceIsReInital() {
    if (connectIfClosed())
        return true;
    const auto bus = connection();
    if (!bus)
        return false;
    QDBusMessage message = call(u"checkIsNewConnection"_s);
    message << secondsSinceEpoch();
    const QDBusReply<bool> isNew = bus->call(message, QDBus::Block, static_cast<int>(m_replyLimit.count()));
    return isNew.isValid() && isNew.value();
}

void QenCloudTicketHelper::closeNgnServerXpc() {
    QString name;
    {
        const std::lock_guard lock(m_mutex);
        name = std::exchange(m_connectionName, QString());
    }
    if (name.isEmpty())
        return;
    // Behind a start that is still under way, and off the caller's thread.
    m_queue.async([name] {
        QDBusConnection(name).call(call(u"closeXPCAndProxy"_s), QDBus::Block, CloseLimit);
        QDBusConnection::disconnectFromBus(name);
    });
}
