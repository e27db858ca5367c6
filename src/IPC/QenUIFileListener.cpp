#include "QenUIFileListener.h"

#include "AccountModel.h"
#include "NotificationCenter.h"
#include "Paths.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"

namespace {

constexpr qint64 TicketTimedOut = 2;

struct Match {
    QString text;
    QString line;
    void (QenUIFileListener::*handler)();
};

/// In the order in which they are tried: the first text that the path contains decides.
const QList<Match>& matches() {
    static const QList<Match> table = {
        {QStringLiteral("/c_qen_mark@2x.png"), QStringLiteral("monitor logo image has changed"),
         &QenUIFileListener::updateUILogo},
        {QStringLiteral("/tips.txt"), QStringLiteral("monitor tips.txt has changed"), &QenUIFileListener::updateUITips},
        {QStringLiteral("/joinDomainUpdate.txt"), QStringLiteral("monitor joinDomainUpdate.txt has changed"),
         &QenUIFileListener::updateComputorName},
        {QStringLiteral("/restart.txt"), QStringLiteral("monitor restart.txt has changed"),
         &QenUIFileListener::restartComputor},
        {QStringLiteral("/joindomainSwitchStatus.archive"),
         QStringLiteral("monitor joindomainSwitchStatus.archive has changed"),
         &QenUIFileListener::joinDomainToolStartSuccess},
        {QStringLiteral("/inacSSIDInfo.archive"), QStringLiteral("monitor inacSSIDInfo.archive has changed"),
         &QenUIFileListener::inacSsidChanged},
        {QStringLiteral("/switchngn.archive"), QStringLiteral("monitor switchngn.archive has changed"),
         &QenUIFileListener::updateswitchNGN},
        {QStringLiteral("/appmgrlist.archive"), QStringLiteral("monitor appmgrlist.archive has changed"),
         &QenUIFileListener::updateappmgrlist},
        {QStringLiteral("/ngncloudlist.archive"), QStringLiteral("monitor ngncloudlist.archive has changed"),
         &QenUIFileListener::updateTrustedsApp},
        {QStringLiteral("/login.archive"), QStringLiteral("monitor login.archive has changed"),
         &QenUIFileListener::loginAndTicketStatus},
        {QStringLiteral("/hideqenswitch.archive"), QStringLiteral("monitor hideqenswitch.archive has changed"),
         &QenUIFileListener::IshideTray},
        {QStringLiteral("/QenCloud/.QenConfig"), QStringLiteral("monitor .QenConfig has changed"),
         &QenUIFileListener::notifyConfigUpdate},
    };
    return table;
}

} // namespace

QenUIFileListener::QenUIFileListener(World world) : m_world(std::move(world)) {}

QenUIFileListener::~QenUIFileListener() {
    if (m_thread.joinable()) {
        m_stream->stop();
        m_thread.join();
    }
}

QenUIFileListener& QenUIFileListener::sharedInstance() {
    static auto* instance = new QenUIFileListener(
        {Platform::NotificationCenter::defaultCenter(), QenServerConfig::sharedInstance(),
         QenLogHelper::sharedInstance(), Platform::Paths::agentState(), Platform::Paths::applicationSupport()});
    return *instance;
}

QStringList QenUIFileListener::watchedPaths() const {
    QStringList paths;
    for (const char* name :
         {"c_qen_mark@2x.png", "tips.txt", "restart.txt", "joinDomainUpdate.txt", "joindomainSwitchStatus.archive",
          "inacSSIDInfo.archive", "switchngn.archive", "appmgrlist.archive", "ngncloudlist.archive"})
        paths << m_world.agentState + u'/' + QString::fromLatin1(name);
    paths << AccountModel::modelSavePathWithCheck(false, m_world.applicationSupport)
          << m_world.agentState + QStringLiteral("/hideqenswitch.archive")
          << m_world.agentState + QStringLiteral("/.QenConfig");
    return paths;
}

void QenUIFileListener::startUIResourcesFileListen() {
    m_stream =
        std::make_unique<Platform::FileEventStream>(watchedPaths(), m_world.latency, [this](const QStringList& paths) {
            for (qsizetype i = 0; i < paths.size(); ++i)
                handleEvent(static_cast<int>(i), paths[i]);
        });
    m_thread = std::thread([this] { m_stream->run(); });
}

void QenUIFileListener::handleEvent(int index, const QString& path) {
    m_world.log.writeLog(QStringLiteral("events index: %1, path:%2").arg(QString::number(index), path));
    for (const Match& match : matches()) {
        if (!path.contains(match.text))
            continue;
        m_world.log.writeLog(match.line);
        (this->*match.handler)();
        return;
    }
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
    const auto account = AccountModel::currentModel(m_world.applicationSupport);
    if (!account)
        return;
    if (account->ticket_state() == TicketTimedOut)
        m_world.center.post(ClientNotification::TicketTimeOut, TicketTimedOut);
    else if (account->loginType() == static_cast<qint64>(LoginType::Domain))
        m_world.center.post(ClientNotification::TicketTimeOut);
}

void QenUIFileListener::IshideTray() {
    m_world.center.post(ClientNotification::HideTray);
}

void QenUIFileListener::notifyConfigUpdate() {
    m_world.config.updateServerConfig();
}
