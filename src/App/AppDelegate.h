#pragma once

#include "ApplicationInterface.h"
#include "Completion.h"
#include "NotificationCenter.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

class MavExportLogController;
class MavModifyPasswordCtrl;
class MavServerSetingWinCtrl;
class QAction;
class QSystemTrayIcon;
class QenAboutWindowController;
class QenHelpWebWindowController;
class QenMainWindow;
struct Client;

namespace Platform {
class TrayHost;
}

/// The spine of the client: runs the launch sequence, owns the tray item and the menu's operations, decides how the
/// process quits.
///
/// Main thread, except for checkTrayStatus() and showAlertTipForLogin().
class AppDelegate final : public QObject, public ApplicationInterface {
    Q_OBJECT
public:
    /// All of it outlives the application.
    struct World {
        Client& client;
        /// That sheets and alerts attach to; the menu is made for it.
        QenMainWindow& window;
        Platform::TrayHost& trayHost;
        /// Ends the process; not expected to come back.
        std::function<void(int status)> exitProcess;
        /// From the launch to the watchdog's first look.
        std::chrono::milliseconds processListenerDelay{30000};
    };

    explicit AppDelegate(World world);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    /// Asked to open again, by a second launch. @returns true
    bool applicationShouldHandleReopen(bool hasVisibleWindows);
    void applicationWillBecomeActive();
    /// @returns false when the quit is refused; does not come back otherwise
    bool applicationShouldTerminate();
    /// The desktop asks for a menu; there is none.
    void applicationDockMenu();

    void setAppearanceAqua();
    void addQenNotifications();
    /// Shows or hides the tray item and the main window as the agent wants it. Any thread; acts later, on the main
    /// queue.
    void checkTrayStatus();
    void checkTrayStatusConfigWithNotification(const Platform::Notification&) { checkTrayStatus(); }
    void statusItemDidCliked();
    /// Gives the items that can be used now their action; a grey one says why in its tool tip.
    void setItemsHiddenMenu();
    void validateMenuItem() { setItemsHiddenMenu(); }
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
    bool hasStatusItem() const { return m_hasStatusItem; }

private:
    enum class MainWindow { Front, AsItIs };
    void applyTrayStatus(MainWindow mainWindow);
    void followTrayHost();
    void setTrayAvailable(bool available);
    void showAlert(const QString& text);
    void showTerminateWaring();
    class CustomMessageBox* warningBox(const QString& text);
    void bringForward();
    void makeMenu();
    void logoutAnswered(const struct AnswerVerdict& verdict);
    QenHelpWebWindowController& helpWindow();

    const World m_world;
    qint64 m_terminateCode = 0;
    bool m_isLoggingOut = false;
    bool m_isQuitting = false;
    bool m_isExportingLogs = false;
    bool m_isFollowingTray = false;
    bool m_hasStatusItem = false;
    // The main window's.
    QAction* m_exportItem = nullptr;
    QAction* m_modifyPasswordItem = nullptr;
    QAction* m_logoutItem = nullptr;
    MavExportLogController* m_exportLogCtrl = nullptr;
    MavModifyPasswordCtrl* m_modifypasswordWinCtrl = nullptr;
    MavServerSetingWinCtrl* m_setingWinCtrl = nullptr;
    std::unique_ptr<QenAboutWindowController> m_aboutWindow;
    std::unique_ptr<QenHelpWebWindowController> m_helpWindow;
    /// Exists only while the desktop has a tray, since the toolkit asks for one once and remembers a "no".
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    Platform::Receiver m_answers;
    // It ends before what it hands over to.
    Platform::NotificationCenter::Observer m_hideTray;
};
