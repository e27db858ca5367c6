#include "QenCloudClientProcessListener.h"

#include "QenLogHelper.h"

using namespace Qt::StringLiterals;

QenCloudClientProcessListener::QenCloudClientProcessListener(
    World world, QenLogHelper& log, std::chrono::milliseconds interval)
    : m_world(std::move(world)), m_log(log), m_checkQueue(u"process.check"_s), m_tickQueue(u"process.tick"_s) {
    createClientCheckTimer(interval);
}

void QenCloudClientProcessListener::createClientCheckTimer(std::chrono::milliseconds interval) {
    m_timer = std::make_unique<Platform::DispatchTimer>(m_tickQueue, interval, [this] { timerHandle(); });
}

void QenCloudClientProcessListener::startListening() {
    m_timer->start();
}

void QenCloudClientProcessListener::checkNgnServerAndLoad() {
    m_world.getNetworkType();
    const quint64 who = m_world.signIn();
    if (who == 0 || !m_world.isCheckAndShow())
        return;
    const bool isNew = m_world.checkXPCServiceIsReInital();
    // The question may have taken ten seconds.
    if (m_world.signIn() != who)
        return;
    if (isNew) {
        setUpTicketService(who);
        return;
    }
    m_log.writeLog(u"NGN Server is existed"_s);
    m_checkQueue.async([this, who] { checkVpnProcess(who); });
}

void QenCloudClientProcessListener::setUpTicketService(quint64 who) {
    m_log.writeLog(u"NGN Server reload ........................"_s);
    // A service that refuses is asked again, but the VPN is not taken down for it with every tick.
    if (m_world.isTicketServiceRefusing()) {
        m_world.runTicketXPC();
        return;
    }
    m_world.existZelVPN();
    if (m_world.signIn() != who)
        return;
    m_world.runTicketXPC();
    m_world.reloadZelVPN();
}

void QenCloudClientProcessListener::checkVpnProcess(quint64 who) {
    m_log.writeLog(u"start check zelvpn ...."_s);
    Platform::Error error;
    const QString running = m_world.vpnProcessIds(&error);
    if (!running.isNull())
        m_log.writeLog(u"Qen ZelVPN existed...."_s);
    m_log.writeLog(u"end check zelvpn ifload ....result:%1 error:%2"_s.arg(
        running.isNull() ? u"(null)"_s : running, error ? error.localizedFailureReason() : u"(null)"_s));
    if (!running.isNull() || m_world.signIn() != who)
        return;
    m_log.writeLog(u"zelvpn exit reload zelvpn....."_s);
    m_world.reloadZelVPN();
}
