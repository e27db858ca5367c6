#include "QenUIFileListener.h"

#include "AccountModel.h"
#include "Deployment.h"
#include "Paths.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 TicketTimedOut = 2;

/// In the order in which they are tried.
const QList<QenUIFileListener::Change>& table() {
    using Listener = QenUIFileListener;
    static const QList<Listener::Change> changes = {
        {u"/c_qen_mark@2x.png"_s, u"monitor logo image has changed"_s, &Listener::updateUILogo},
        {u"/tips.txt"_s, u"monitor tips.txt has changed"_s, &Listener::updateUITips},
        {u"/joinDomainUpdate.txt"_s, u"monitor joinDomainUpdate.txt has changed"_s, &Listener::updateComputorName},
        {u"/restart.txt"_s, u"monitor restart.txt has changed"_s, &Listener::restartComputor},
        {u"/joindomainSwitchStatus.archive"_s, u"monitor joindomainSwitchStatus.archive has changed"_s,
            &Listener::joinDomainToolStartSuccess},
        {u"/inacSSIDInfo.archive"_s, u"monitor inacSSIDInfo.archive has changed"_s, &Listener::inacSsidChanged},
        {u"/switchngn.archive"_s, u"monitor switchngn.archive has changed"_s, &Listener::updateswitchNGN},
        {u"/appmgrlist.archive"_s, u"monitor appmgrlist.archive has changed"_s, &Listener::updateappmgrlist},
        {u"/ngncloudlist.archive"_s, u"monitor ngncloudlist.archive has changed"_s, &Listener::updateTrustedsApp},
        {u"/login.archive"_s, u"monitor login.archive has changed"_s, &Listener::loginAndTicketStatus},
        {u"/hideqenswitch.archive"_s, u"monitor hideqenswitch.archive has changed"_s, &Listener::IshideTray},
        {u"/QenCloud/.QenConfig"_s, u"monitor .QenConfig has changed"_s, &Listener::notifyConfigUpdate},
    };
    return changes;
}

} // namespace

QenUIFileListener::QenUIFileListener(World world)
    : m_world(std::move(world)), m_stream(followedFiles(m_world.agentState, m_world.applicationSupport),
                                     m_world.latency, [this](const QStringList& paths) { myCallbackFunction(paths); }),
      m_monitorQueue(Deployment::FileMonitorQueueLabel) {}

QenUIFileListener::~QenUIFileListener() {
    m_stream.stop();
}

QenUIFileListener& QenUIFileListener::sharedInstance() {
    static auto* instance =
        new QenUIFileListener({Platform::NotificationCenter::defaultCenter(), QenServerConfig::sharedInstance(),
            QenLogHelper::sharedInstance(), Platform::Paths::agentState(), Platform::Paths::applicationSupport()});
    return *instance;
}

QStringList QenUIFileListener::followedFiles(const QString& agentState, const QString& applicationSupport) {
    QStringList paths;
    for (const char* name :
        {"c_qen_mark@2x.png", "tips.txt", "restart.txt", "joinDomainUpdate.txt", "joindomainSwitchStatus.archive",
            "inacSSIDInfo.archive", "switchngn.archive", "appmgrlist.archive", "ngncloudlist.archive"})
        paths << agentState + u'/' + QString::fromLatin1(name);
    paths << AccountModel::modelSavePathWithCheck(false, applicationSupport) << agentState + u"/hideqenswitch.archive"_s
          << agentState + u"/.QenConfig"_s;
    return paths;
}

const QenUIFileListener::Change* QenUIFileListener::changeOf(const QString& path) {
    const auto found = std::ranges::find_if(table(), [&](const Change& change) { return path.contains(change.text); });
    return found == table().end() ? nullptr : &*found;
}

std::optional<QVariant> QenUIFileListener::ticketNotice(const AccountModel& record) {
    if (record.ticket_state() == TicketTimedOut)
        return QVariant(static_cast<int>(TicketTimedOut));
    if (record.loginType() == static_cast<qint64>(LoginType::Domain))
        return QVariant();
    return std::nullopt;
}

void QenUIFileListener::startUIResourcesFileListen() {
    m_monitorQueue.async([this] { m_stream.run(); });
}

void QenUIFileListener::myCallbackFunction(const QStringList& paths) {
    for (qsizetype i = 0; i < paths.size(); ++i) {
        m_world.log.writeLog(u"events index: %1, path:%2"_s.arg(QString::number(i), paths[i]));
        const Change* change = changeOf(paths[i]);
        if (!change)
            continue;
        m_world.log.writeLog(change->line);
        (this->*change->handler)();
    }
}

void QenUIFileListener::loginAndTicketStatus() {
    const auto account = AccountModel::currentModel(m_world.applicationSupport);
    if (!account)
        return;
    if (const auto object = ticketNotice(*account))
        m_world.center.post(ClientNotification::TicketTimeOut, *object);
}

void QenUIFileListener::notifyConfigUpdate() {
    m_world.config.updateServerConfig();
}
