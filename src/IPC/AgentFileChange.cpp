#include "AgentFileChange.h"

#include "AccountModel.h"
#include "QenUIFileListener.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 TicketTimedOut = 2;

/// In the order in which they are tried.
const QList<AgentFileChange>& table() {
    using Listener = QenUIFileListener;
    static const QList<AgentFileChange> changes = {
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

const AgentFileChange* AgentFileChange::ofPath(const QString& path) {
    for (const AgentFileChange& change : table()) {
        if (path.contains(change.text))
            return &change;
    }
    return nullptr;
}

QStringList followedFiles(const QString& agentState, const QString& applicationSupport) {
    QStringList paths;
    for (const char* name :
        {"c_qen_mark@2x.png", "tips.txt", "restart.txt", "joinDomainUpdate.txt", "joindomainSwitchStatus.archive",
            "inacSSIDInfo.archive", "switchngn.archive", "appmgrlist.archive", "ngncloudlist.archive"})
        paths << agentState + u'/' + QString::fromLatin1(name);
    paths << AccountModel::modelSavePathWithCheck(false, applicationSupport) << agentState + u"/hideqenswitch.archive"_s
          << agentState + u"/.QenConfig"_s;
    return paths;
}

std::optional<QVariant> ticketNotice(const AccountModel& record) {
    if (record.ticket_state() == TicketTimedOut)
        return QVariant(static_cast<int>(TicketTimedOut));
    if (record.loginType() == static_cast<qint64>(LoginType::Domain))
        return QVariant();
    return std::nullopt;
}
