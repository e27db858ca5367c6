#include "AgentFileChange.h"

#include "AccountModel.h"
#include "QenUIFileListener.h"

namespace {

constexpr qint64 TicketTimedOut = 2;

/// In the order in which they are tried.
const QList<AgentFileChange>& table() {
    using Listener = QenUIFileListener;
    static const QList<AgentFileChange> changes = {
        {QStringLiteral("/c_qen_mark@2x.png"), QStringLiteral("monitor logo image has changed"),
         &Listener::updateUILogo},
        {QStringLiteral("/tips.txt"), QStringLiteral("monitor tips.txt has changed"), &Listener::updateUITips},
        {QStringLiteral("/joinDomainUpdate.txt"), QStringLiteral("monitor joinDomainUpdate.txt has changed"),
         &Listener::updateComputorName},
        {QStringLiteral("/restart.txt"), QStringLiteral("monitor restart.txt has changed"), &Listener::restartComputor},
        {QStringLiteral("/joindomainSwitchStatus.archive"),
         QStringLiteral("monitor joindomainSwitchStatus.archive has changed"), &Listener::joinDomainToolStartSuccess},
        {QStringLiteral("/inacSSIDInfo.archive"), QStringLiteral("monitor inacSSIDInfo.archive has changed"),
         &Listener::inacSsidChanged},
        {QStringLiteral("/switchngn.archive"), QStringLiteral("monitor switchngn.archive has changed"),
         &Listener::updateswitchNGN},
        {QStringLiteral("/appmgrlist.archive"), QStringLiteral("monitor appmgrlist.archive has changed"),
         &Listener::updateappmgrlist},
        {QStringLiteral("/ngncloudlist.archive"), QStringLiteral("monitor ngncloudlist.archive has changed"),
         &Listener::updateTrustedsApp},
        {QStringLiteral("/login.archive"), QStringLiteral("monitor login.archive has changed"),
         &Listener::loginAndTicketStatus},
        {QStringLiteral("/hideqenswitch.archive"), QStringLiteral("monitor hideqenswitch.archive has changed"),
         &Listener::IshideTray},
        {QStringLiteral("/QenCloud/.QenConfig"), QStringLiteral("monitor .QenConfig has changed"),
         &Listener::notifyConfigUpdate},
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
    paths << AccountModel::modelSavePathWithCheck(false, applicationSupport)
          << agentState + QStringLiteral("/hideqenswitch.archive") << agentState + QStringLiteral("/.QenConfig");
    return paths;
}

std::optional<QVariant> ticketNotice(const AccountModel& record) {
    if (record.ticket_state() == TicketTimedOut)
        return QVariant(static_cast<int>(TicketTimedOut));
    if (record.loginType() == static_cast<qint64>(LoginType::Domain))
        return QVariant();
    return std::nullopt;
}
