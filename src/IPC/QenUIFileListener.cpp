#include "QenUIFileListener.h"

#include "AgentFileChange.h"
#include "NotificationCenter.h"
#include "Paths.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"

using namespace Qt::StringLiterals;

QenUIFileListener::QenUIFileListener(World world) : m_world(std::move(world)) {}

QenUIFileListener::~QenUIFileListener() {
    if (m_thread.joinable()) {
        m_stream->stop();
        m_thread.join();
    }
}

void QenUIFileListener::startUIResourcesFileListen() {
    m_stream =
        std::make_unique<Platform::FileEventStream>(followedFiles(m_world.agentState, m_world.applicationSupport),
            m_world.latency, [this](const QStringList& paths) {
                for (qsizetype i = 0; i < paths.size(); ++i)
                    handleEvent(static_cast<int>(i), paths[i]);
            });
    m_thread = std::thread([this] { m_stream->run(); });
}

void QenUIFileListener::handleEvent(int index, const QString& path) {
    m_world.log.writeLog(u"events index: %1, path:%2"_s.arg(QString::number(index), path));
    const AgentFileChange* change = AgentFileChange::ofPath(path);
    if (!change)
        return;
    m_world.log.writeLog(change->line);
    (this->*change->handler)();
}

void QenUIFileListener::updateUILogo() {
    m_world.center.post(ClientNotification::Logo);
}

void QenUIFileListener::updateUITips() {
    m_world.center.post(ClientNotification::Tips);
}

void QenUIFileListener::updateComputorName() {
    m_world.center.post(ClientNotification::ComputerName);
}

void QenUIFileListener::restartComputor() {
    m_world.center.post(ClientNotification::Restart);
}

void QenUIFileListener::joinDomainToolStartSuccess() {
    m_world.center.post(ClientNotification::JoinDomainSwitch);
}

void QenUIFileListener::inacSsidChanged() {
    m_world.center.post(ClientNotification::InacSsid);
}

void QenUIFileListener::updateswitchNGN() {
    m_world.center.post(ClientNotification::NgnSwitch);
}

void QenUIFileListener::updateappmgrlist() {
    m_world.center.post(ClientNotification::AppList);
}

void QenUIFileListener::updateTrustedsApp() {
    m_world.center.post(ClientNotification::TrustedApps);
}

void QenUIFileListener::loginAndTicketStatus() {
    const auto account = m_world.record();
    if (!account)
        return;
    if (const auto object = ticketNotice(*account))
        m_world.center.post(ClientNotification::TicketTimeOut, *object);
}

void QenUIFileListener::IshideTray() {
    m_world.center.post(ClientNotification::HideTray);
}

void QenUIFileListener::notifyConfigUpdate() {
    m_world.config.updateServerConfig();
}
