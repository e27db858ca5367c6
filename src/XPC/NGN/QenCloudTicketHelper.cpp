#include "QenCloudTicketHelper.h"

#include "Deployment.h"
#include "QenLogHelper.h"

#include <QDBusReply>
#include <QDateTime>

using namespace Qt::StringLiterals;

using Platform::BusConnection;

namespace {

const QString ObjectPath = u"/"_s;
/// That a service has for taking notice of the end.
constexpr std::chrono::seconds CloseLimit{2};

QDBusMessage call(const QString& operation) {
    return QDBusMessage::createMethodCall(
        Deployment::TicketServiceName, ObjectPath, Deployment::TicketProtocol, operation);
}

} // namespace

QenCloudTicketHelper::QenCloudTicketHelper(QenLogHelper& log, QString busAddress, std::chrono::milliseconds replyLimit)
    : m_log(log), m_busAddress(std::move(busAddress)), m_replyLimit(replyLimit),
      m_queue(Deployment::TicketServiceName) {
    initialConnection();
}

std::shared_ptr<BusConnection> QenCloudTicketHelper::XPCConnection() const {
    const std::lock_guard lock(m_mutex);
    return m_XPCConnection;
}

std::shared_ptr<BusConnection> QenCloudTicketHelper::initialConnection(bool* isNew) {
    const std::lock_guard lock(m_mutex);
    if (isNew)
        *isNew = !m_XPCConnection;
    if (!m_XPCConnection)
        m_XPCConnection = std::make_shared<BusConnection>(m_busAddress);
    return m_XPCConnection;
}

void QenCloudTicketHelper::runTicketXPC() {
    m_queue.async([this, bus = initialConnection()] {
        const QDBusReply<bool> started = bus->call(call(u"startRunProxy"_s), m_replyLimit);
        m_isRefusing = !started.isValid() || !started.value();
        const QString outcome = !started.isValid() ? u"gave no reply"_s : started ? u"run Success"_s : u"run Fail"_s;
        m_log.writeLog(u"[QenCloudTicketHelper] QenCloud Service "_s + outcome);
    });
}

bool QenCloudTicketHelper::checkXPCServiceIsReInital() {
    bool isMadeNow = false;
    const auto bus = initialConnection(&isMadeNow);
    if (isMadeNow)
        return true;
    QDBusMessage message = call(u"checkIsNewConnection"_s);
    message << static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    const QDBusReply<bool> isNew = bus->call(message, m_replyLimit);
    return isNew.isValid() && isNew.value();
}

void QenCloudTicketHelper::closeNgnServerXpc() {
    std::shared_ptr<BusConnection> closing;
    {
        const std::lock_guard lock(m_mutex);
        closing.swap(m_XPCConnection);
    }
    // Behind a start that is still under way, and off the caller's thread.
    if (closing)
        m_queue.async([closing] { closing->call(call(u"closeXPCAndProxy"_s), CloseLimit); });
}
