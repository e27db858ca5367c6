#pragma once

#include "AccountModel.h"
#include "ClientNotifications.h"
#include "FileEventStream.h"
#include "NotificationCenter.h"
#include "Queue.h"
#include "Shared.h"

#include <functional>
#include <optional>

class QenLogHelper;
class QenServerConfig;

/// Turns each change of the agent's files, and of the signed-in record, into one notification.
///
/// Idle until startUIResourcesFileListen(), then it has a thread of its own on which notifications are posted: an
/// observer that touches widgets hops to the main queue.
class QenUIFileListener final {
public:
    /// From the first change to its report.
    static constexpr std::chrono::milliseconds Latency{3000};

    struct World {
        Platform::NotificationCenter& center;
        QenServerConfig& config;
        QenLogHelper& log;
        /// As followedFiles() tells them.
        QStringList files;
        /// The signed-in record as it is now. Any thread.
        std::function<std::optional<AccountModel>()> record;
        std::chrono::milliseconds latency = Latency;
    };

    /// What a change of one of the followed files means.
    struct Change {
        /// The path contains it.
        QString text;
        /// Line of the log.
        QString line;
        void (QenUIFileListener::*handler)();
    };

    explicit QenUIFileListener(World world);
    ~QenUIFileListener() { m_stream.stop(); }
    static QenUIFileListener& sharedInstance() { return Platform::Shared<QenUIFileListener>::instance(); }

    /// The twelve files, in the order in which the event stream gets them.
    /// @param agentState  the agent's data folder
    /// @param applicationSupport  the user's Application Support folder, where the signed-in record lives
    static QStringList followedFiles(const QString& agentState, const QString& applicationSupport);
    /// The first entry of the table whose text @p path contains; null for a foreign path.
    static const Change* changeOf(const QString& path);
    /// The object of the ticket notification that a changed record asks for, invalid for none; nothing when the record
    /// asks for no notification.
    static std::optional<QVariant> ticketNotice(const AccountModel& record);

    /// To be called once.
    void startUIResourcesFileListen() {
        m_monitorQueue.async([this] { m_stream.run(); });
    }
    /// What the stream reports at once; each path's place is its index.
    void myCallbackFunction(const QStringList& paths);
    Platform::SerialQueue& monitorQueue() { return m_monitorQueue; }

    void updateUILogo() { post(ClientNotification::Logo); }
    void updateUITips() { post(ClientNotification::Tips); }
    void updateComputorName() { post(ClientNotification::ComputerName); }
    void restartComputor() { post(ClientNotification::Restart); }
    void joinDomainToolStartSuccess() { post(ClientNotification::JoinDomainSwitch); }
    void inacSsidChanged() { post(ClientNotification::InacSsid); }
    void updateswitchNGN() { post(ClientNotification::NgnSwitch); }
    void updateappmgrlist() { post(ClientNotification::AppList); }
    void updateTrustedsApp() { post(ClientNotification::TrustedApps); }
    void loginAndTicketStatus();
    void IshideTray() { post(ClientNotification::HideTray); }
    void notifyConfigUpdate();

private:
    void post(const QString& name) { m_world.center.post(name); }

    World m_world;
    Platform::FileEventStream m_stream;
    /// Its one block follows the files until the end.
    Platform::SerialQueue m_monitorQueue;
};
