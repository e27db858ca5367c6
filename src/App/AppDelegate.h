#pragma once

#include "ApplicationInterface.h"
#include "ApplicationParts.h"
#include "Completion.h"
#include "NotificationCenter.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class ApplicationMenu;
class ITDevice;
class MavServerSetingWinCtrl;
class QenAboutWindowController;
class QenCloudLoginHelper;
class QenHelpWebWindowController;
class QenLogHelper;
class QenMainWindow;
class StatusItem;
class VpnComponent;

namespace Platform {
class TaskGroup;
class TrayHost;
} // namespace Platform

/// The spine of the client: runs the launch sequence, owns the tray item and the menu's operations, decides how the
/// process quits.
///
/// Main thread, except for checkTrayStatus() and showAlertTipForLogin().
class AppDelegate final : public QObject, public ApplicationInterface {
    Q_OBJECT
public:
    struct World {
        QenCloudLoginHelper& login;
        ITDevice& device;
        QenLogHelper& log;
        Platform::NotificationCenter& center;
        Platform::TrayHost& trayHost;
        /// The user's Application Support folder.
        QString applicationSupport;
        VpnComponent& vpn;
        /// Work that the menu has begun and does not wait for.
        Platform::TaskGroup& work;
        ApplicationParts parts;
        /// Ends the process; not expected to come back.
        std::function<void(int status)> exitProcess;
    };

    explicit AppDelegate(World world);
    ~AppDelegate() override;

    /// The window that sheets and alerts attach to. It must outlive the launch; the menu is made for it.
    void setMainWindow(QenMainWindow* window);

    void applicationDidFinishLaunching();
    /// Asked to open again, by a second launch. @returns true
    bool applicationShouldHandleReopen(bool hasVisibleWindows);
    void applicationWillBecomeActive();
    /// @returns false when the quit is refused; does not come back otherwise
    bool applicationShouldTerminate();
    /// The desktop asks for a menu; there is none.
    void applicationDockMenu();
    void terminate() { applicationShouldTerminate(); }

    void setAppearanceAqua();
    void addQenNotifications();
    /// Shows or hides the tray item and the main window as the agent wants it. Any thread; acts later, on the main
    /// queue.
    void checkTrayStatus();
    void checkTrayStatusConfigWithNotification(const Platform::Notification&) { checkTrayStatus(); }
    void statusItemDidCliked();
    void setItemsHiddenMenu();
    void validateMenuItem();
    void showAlertTipForLogin(const QString& text) override;

    void tapAboutItem();
    void tapHelp();
    /// Shows a topic of the help beside the main window.
    void showHelpTopic(const QString& tag);
    void excludeLogs();
    void modifyPasswordClick();
    /// Does nothing, on purpose; no item is bound to it.
    void modifyPasswordClick1() {}
    void ConfigureServerClick();
    void logoutClick();
    void menuQuit();
    void checkStatusTicket();
    void checkIsCAVersion();

    qint64 terminateCode() const { return m_terminateCode; }
    void setTerminateCode(qint64 code) { m_terminateCode = code; }
    bool hasStatusItem() const { return m_statusItem != nullptr; }
    ApplicationMenu* menu() const;

private:
    enum class MainWindow { Front, AsItIs };
    void applyTrayStatus(MainWindow mainWindow);
    void followTrayHost();
    void showAlert(const QString& text);
    void showTerminateWaring();
    void bringForward();
    void logoutAnswered(const struct AnswerVerdict& verdict);
    QenHelpWebWindowController& helpWindow();
    QRect mainWindowFrame() const;

    const World m_world;
    qint64 m_terminateCode = 0;
    bool m_isLoggingOut = false;
    bool m_isQuitting = false;
    bool m_isExportingLogs = false;
    bool m_isFollowingTray = false;
    QPointer<QenMainWindow> m_mainWindow;
    QPointer<ApplicationMenu> m_menu;
    QPointer<MavServerSetingWinCtrl> m_setingWinCtrl;
    std::unique_ptr<QenAboutWindowController> m_aboutWindow;
    std::unique_ptr<QenHelpWebWindowController> m_helpWindow;
    std::unique_ptr<StatusItem> m_statusItem;
    Platform::NotificationCenter::Observer m_hideTray;
    Platform::Receiver m_answers;
};
