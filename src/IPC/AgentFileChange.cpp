#include "AgentFileChange.h"

#include "AccountModel.h"
#include "QenUIFileListener.h"
#include "StateFiles.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 TicketTimedOut = 2;

/// In the order in which they are tried.
const QList<AgentFileChange>& table() {
    using Listener = QenUIFileListener;
    static const QList<AgentFileChange> changes = {
        {u"/"_s + StateFiles::MarkImage, u"monitor logo image has changed"_s, &Listener::updateUILogo},
        {u"/"_s + StateFiles::Tips, u"monitor tips.txt has changed"_s, &Listener::updateUITips},
        {u"/"_s + StateFiles::JoinDomainUpdate, u"monitor joinDomainUpdate.txt has changed"_s,
            &Listener::updateComputorName},
        {u"/"_s + StateFiles::Restart, u"monitor restart.txt has changed"_s, &Listener::restartComputor},
        {u"/"_s + StateFiles::JoinDomainSwitch, u"monitor joindomainSwitchStatus.archive has changed"_s,
            &Listener::joinDomainToolStartSuccess},
        {u"/"_s + StateFiles::InacSsidInfo, u"monitor inacSSIDInfo.archive has changed"_s, &Listener::inacSsidChanged},
        {u"/"_s + StateFiles::NgnSwitch, u"monitor switchngn.archive has changed"_s, &Listener::updateswitchNGN},
        {u"/"_s + StateFiles::OfficeTools, u"monitor appmgrlist.archive has changed"_s, &Listener::updateappmgrlist},
        {u"/"_s + StateFiles::TrustedApps, u"monitor ngncloudlist.archive has changed"_s, &Listener::updateTrustedsApp},
        {u"/"_s + StateFiles::Login, u"monitor login.archive has changed"_s, &Listener::loginAndTicketStatus},
        {u"/"_s + StateFiles::HideTray, u"monitor hideqenswitch.archive has changed"_s, &Listener::IshideTray},
        {u"/QenCloud/"_s + StateFiles::ServerList, u"monitor .QenConfig has changed"_s, &Listener::notifyConfigUpdate},
    };
    return changes;
}

} // namespace

const AgentFileChange* AgentFileChange::ofPath(const QString& path) {
    for (const AgentFileChange& change : table()) {
        if (path.contains(change.text))
            return &change;
    }
    return nullptr;
}

QStringList followedFiles(const QString& agentState, const QString& applicationSupport) {
    QStringList paths;
    for (const auto name : {StateFiles::MarkImage, StateFiles::Tips, StateFiles::Restart, StateFiles::JoinDomainUpdate,
             StateFiles::JoinDomainSwitch, StateFiles::InacSsidInfo, StateFiles::NgnSwitch, StateFiles::OfficeTools,
             StateFiles::TrustedApps})
        paths << agentState + u'/' + name;
    paths << AccountModel::modelSavePathWithCheck(false, applicationSupport) << agentState + u'/' + StateFiles::HideTray
          << agentState + u'/' + StateFiles::ServerList;
    return paths;
}

std::optional<QVariant> ticketNotice(const AccountModel& record) {
    if (record.ticket_state() == TicketTimedOut)
        return QVariant(static_cast<int>(TicketTimedOut));
    if (record.loginType() == static_cast<qint64>(LoginType::Domain))
        return QVariant();
    return std::nullopt;
}
