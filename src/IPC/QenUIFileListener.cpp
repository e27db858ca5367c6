#include "QenUIFileListener.h"

#include "Deployment.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "ServerAnswer.h"
#include "StateFiles.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// In the order in which they are tried.
const QList<QenUIFileListener::Change>& table() {
    using Listener = QenUIFileListener;
    static const QList<Listener::Change> changes = {
        {u'/' + StateFiles::MarkImage, u"monitor logo image has changed"_s, &Listener::updateUILogo},
        {u'/' + StateFiles::Tips, u"monitor tips.txt has changed"_s, &Listener::updateUITips},
        {u'/' + StateFiles::JoinDomainUpdate, u"monitor joinDomainUpdate.txt has changed"_s,
            &Listener::updateComputorName},
        {u'/' + StateFiles::Restart, u"monitor restart.txt has changed"_s, &Listener::restartComputor},
        {u'/' + StateFiles::JoinDomainSwitch, u"monitor joindomainSwitchStatus.archive has changed"_s,
            &Listener::joinDomainToolStartSuccess},
        {u'/' + StateFiles::InacSsidInfo, u"monitor inacSSIDInfo.archive has changed"_s, &Listener::inacSsidChanged},
        {u'/' + StateFiles::NgnSwitch, u"monitor switchngn.archive has changed"_s, &Listener::updateswitchNGN},
        {u'/' + StateFiles::OfficeTools, u"monitor appmgrlist.archive has changed"_s, &Listener::updateappmgrlist},
        {u'/' + StateFiles::TrustedApps, u"monitor ngncloudlist.archive has changed"_s, &Listener::updateTrustedsApp},
        {u'/' + StateFiles::Login, u"monitor login.archive has changed"_s, &Listener::loginAndTicketStatus},
        {u'/' + StateFiles::HideTray, u"monitor hideqenswitch.archive has changed"_s, &Listener::IshideTray},
        {u"/QenCloud/"_s + StateFiles::ServerList, u"monitor .QenConfig has changed"_s, &Listener::notifyConfigUpdate},
    };
    return changes;
}

} // namespace

QenUIFileListener::QenUIFileListener(World world)
    : m_world(std::move(world)),
      m_stream(
          m_world.files, m_world.latency, [this](const QStringList& paths) { myCallbackFunction(paths); },
          [this](const QString& line) { m_world.log.writeLog(line); }),
      m_monitorQueue(Deployment::FileMonitorQueueLabel) {}

QStringList QenUIFileListener::followedFiles(const QString& agentState, const QString& applicationSupport) {
    QStringList paths;
    using namespace StateFiles;
    for (const auto name : {MarkImage, Tips, Restart, JoinDomainUpdate, JoinDomainSwitch, InacSsidInfo, NgnSwitch,
             OfficeTools, TrustedApps})
        paths << agentState + u'/' + name;
    paths << AccountModel::modelSavePathWithCheck(false, applicationSupport) << agentState + u'/' + HideTray
          << agentState + u'/' + ServerList;
    return paths;
}

const QenUIFileListener::Change* QenUIFileListener::changeOf(const QString& path) {
    const auto found = std::ranges::find_if(table(), [&](const Change& change) { return path.contains(change.text); });
    return found == table().end() ? nullptr : &*found;
}

std::optional<QVariant> QenUIFileListener::ticketNotice(const AccountModel& record) {
    constexpr auto TimedOut = static_cast<int>(TicketState::TimedOut);
    if (record.ticket_state() == TimedOut)
        return QVariant(TimedOut);
    if (record.loginType() == static_cast<qint64>(LoginType::Domain))
        return QVariant();
    return std::nullopt;
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
    const auto account = m_world.record();
    if (!account)
        return;
    if (const auto object = ticketNotice(*account))
        m_world.center.post(ClientNotification::TicketTimeOut, *object);
}

void QenUIFileListener::notifyConfigUpdate() {
    m_world.config.updateServerConfig();
}
