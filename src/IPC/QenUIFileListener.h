#pragma once

#include "FileEventStream.h"

#include <QString>

#include <thread>

class QenLogHelper;
class QenServerConfig;

namespace Platform {
class NotificationCenter;
}

/// Names under which a changed file of the agent is announced, spelled as the observers know them.
namespace FileNotification {
inline const QString Logo = QStringLiteral("UpdateLogoForConfigNoticationKey");
inline const QString Tips = QStringLiteral("UpdateTipsForConfigNoticationKey");
inline const QString ComputerName = QStringLiteral("UpdateComputerNameForJoinDomainNotificationKey");
inline const QString Restart = QStringLiteral("kRestartComputorNotification");
inline const QString JoinDomainSwitch = QStringLiteral("JoinDomainToolSwitchStatusNotificationKey");
inline const QString InacSsid = QStringLiteral("InacSSIDChangedNotificationKey");
inline const QString NgnSwitch = QStringLiteral("UpdateNgnSwitchForConfigNoticationKey");
inline const QString AppList = QStringLiteral("UpdateAppMgtListForConfigNoticationKey");
inline const QString TrustedApps = QStringLiteral("UpdateTrustedsAppForConfigNoticationKey");
inline const QString TicketTimeOut = QStringLiteral("TicketTimeOutNoticationKey");
inline const QString HideTray = QStringLiteral("HideTrayForConfigNotificationKey");
} // namespace FileNotification

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
        std::chrono::milliseconds latency{3000};
    };

    explicit QenUIFileListener(World world);
    ~QenUIFileListener();
    static QenUIFileListener& sharedInstance();

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
    QStringList watchedPaths() const;

    World m_world;
    std::unique_ptr<Platform::FileEventStream> m_stream;
    std::thread m_thread;
};
