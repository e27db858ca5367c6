#pragma once

#include "AccountModel.h"
#include "AgentFileChange.h"
#include "ClientNotifications.h"
#include "FileEventStream.h"
#include "Shared.h"

#include <QString>

#include <functional>
#include <optional>
#include <thread>

class QenLogHelper;
class QenServerConfig;

namespace Platform {
class NotificationCenter;
}

/// Turns each change of the agent's files, and of the signed-in record, into one notification.
///
/// Idle until startUIResourcesFileListen(), then it has a thread of its own on which notifications are posted: an
/// observer that touches widgets hops to the main queue.
class QenUIFileListener final {
public:
    struct World {
        Platform::NotificationCenter& center;
        QenServerConfig& config;
        QenLogHelper& log;
        QString agentState;
        /// The user's Application Support folder, where the signed-in record lives.
        QString applicationSupport;
        /// The signed-in record as it is now. Any thread.
        std::function<std::optional<AccountModel>()> record;
        std::chrono::milliseconds latency = FollowLatency;
    };

    explicit QenUIFileListener(World world);
    ~QenUIFileListener();
    static QenUIFileListener& sharedInstance() { return Platform::Shared<QenUIFileListener>::instance(); }

    /// To be called once.
    void startUIResourcesFileListen();

    /// One event of the stream; @p index is its place in the callback.
    void handleEvent(int index, const QString& path);

    void updateUILogo();
    void updateUITips();
    void updateComputorName();
    void restartComputor();
    void joinDomainToolStartSuccess();
    void inacSsidChanged();
    void updateswitchNGN();
    void updateappmgrlist();
    void updateTrustedsApp();
    void loginAndTicketStatus();
    void IshideTray();
    void notifyConfigUpdate();

private:
    World m_world;
    std::unique_ptr<Platform::FileEventStream> m_stream;
    std::thread m_thread;
};
