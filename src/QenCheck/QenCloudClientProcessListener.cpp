#include "QenCloudClientProcessListener.h"

#include "Deployment.h"
#include "Paths.h"
#include "QenCloudLoginHelper.h"
#include "QenCloudTicketHelper.h"
#include "QenLogHelper.h"
#include "TaskHelper.h"

#include <future>

using namespace Qt::StringLiterals;

namespace {

/// The look-up and the agent's two answers, each at its limit.
constexpr std::chrono::seconds LongestStop{14};

QenCloudClientProcessListener::World runningClient() {
    QenCloudLoginHelper& login = QenCloudLoginHelper::sharedInstance();
    QenCloudTicketHelper& ticket = QenCloudTicketHelper::sharedInstance();
    return {
        .getNetworkType = [&login] { login.Get_network_type(); },
        .iflogin = [&login] { return login.iflogin(); },
        .isCheckAndShow = [&login] { return login.isCheckAndShow(); },
        .checkXPCServiceIsReInital = [&ticket] { return ticket.checkXPCServiceIsReInital(); },
        .existZelVPN =
            [&login] {
                // The tick may wait, and a stop that came after the reload would end what it started.
                const auto stopped = std::make_shared<std::promise<void>>();
                login.existZelVPN([stopped] { stopped->set_value(); });
                stopped->get_future().wait_for(LongestStop);
            },
        .runTicketXPC = [&ticket] { ticket.runTicketXPC(); },
        .reloadZelVPN = [&login] { login.reloadZelVPN(); },
    };
}

} // namespace

QenCloudClientProcessListener::QenCloudClientProcessListener(
    World world, QenLogHelper& log, QString vpnExecutable, std::chrono::milliseconds interval)
    : m_world(std::move(world)), m_log(log), m_vpnExecutable(std::move(vpnExecutable)),
      m_checkQueue(u"process.check"_s), m_tickQueue(u"process.tick"_s),
      m_timer(m_tickQueue, interval, [this] { checkNgnServerAndLoad(); }) {}

QenCloudClientProcessListener& QenCloudClientProcessListener::sharedInstance() {
    static auto* instance =
        new QenCloudClientProcessListener(runningClient(), QenLogHelper::sharedInstance(), Deployment::vpnExecutable());
    return *instance;
}

void QenCloudClientProcessListener::startListening() {
    m_timer.start();
}

void QenCloudClientProcessListener::checkNgnServerAndLoad() {
    m_world.getNetworkType();
    if (!m_world.iflogin() || !m_world.isCheckAndShow())
        return;
    if (m_world.checkXPCServiceIsReInital()) {
        m_log.writeLog(u"NGN Server reload ........................"_s);
        m_world.existZelVPN();
        m_world.runTicketXPC();
        m_world.reloadZelVPN();
        return;
    }
    m_log.writeLog(u"NGN Server is existed"_s);
    if (m_world.iflogin())
        m_checkQueue.async([this] { checkVpnProcess(); });
}

void QenCloudClientProcessListener::checkVpnProcess() {
    m_log.writeLog(u"start check zelvpn ...."_s);
    QString running;
    Platform::Error error;
    const auto task = TaskHelper::sharedInstance().excuteTaskPath(u"/bin/bash"_s,
        {u"-c"_s, u"/bin/ps aux | grep -w '%1' | grep -v 'grep' | awk '{print $2}'"_s.arg(m_vpnExecutable)}, &running,
        &error);
    if (task)
        task->terminate();
    const bool isRunning = !running.isEmpty();
    if (isRunning)
        m_log.writeLog(u"Qen ZelVPN existed...."_s);
    m_log.writeLog(u"end check zelvpn ifload ....result:%1 error:%2"_s.arg(
        running.isNull() ? u"(null)"_s : running, error ? error.localizedFailureReason() : u"(null)"_s));
    if (isRunning)
        return;
    m_log.writeLog(u"zelvpn exit reload zelvpn....."_s);
    m_world.reloadZelVPN();
}
