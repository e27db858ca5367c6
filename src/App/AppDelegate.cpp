#include "AppDelegate.h"

#include "ApplicationMenu.h"
#include "BaseWindowController.h"
#include "ClientNotifications.h"
#include "CustomMessageBox.h"
#include "MavServerSetingWinCtrl.h"
#include "QenAboutWindowController.h"
#include "QenCloudLoginHelper.h"
#include "QenHelpWebWindowController.h"
#include "QenLogHelper.h"
#include "QenMainWindow.h"
#include "Queue.h"
#include "QuitSequence.h"
#include "StatusItem.h"
#include "StringTable.h"
#include "SystemLog.h"
#include "Theme.h"
#include "TrayHost.h"

#include <QApplication>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 TerminateAtOnce = -1;
/// Refuses the next quit, once.
constexpr qint64 TerminateRefused = 1;

} // namespace

AppDelegate::AppDelegate(World world) : m_world(std::move(world)) {
    connect(&m_world.login.session(), &Session::changed, this, &AppDelegate::setItemsHiddenMenu);
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::setMainWindow(QenMainWindow* window) {
    m_mainWindow = window;
    ApplicationMenu::Operations operations;
    operations.tapAboutItem = [this] { tapAboutItem(); };
    operations.tapHelp = [this] { tapHelp(); };
    operations.ConfigureServerClick = [this] { ConfigureServerClick(); };
    operations.logoutClick = [this] { logoutClick(); };
    operations.menuQuit = [this] { menuQuit(); };
    operations.validateMenuItem = [this] { validateMenuItem(); };
    operations.excludeLogs = [this] { excludeLogs(); };
    operations.modifyPasswordClick = [this] { modifyPasswordClick(); };
    m_menu = new ApplicationMenu(operations, window);
    window->setMenu(m_menu);
}

void AppDelegate::applicationDidFinishLaunching() {
    m_world.log.writeLog(u"----------start Mav-----------"_s, 1);
    setAppearanceAqua();
    setItemsHiddenMenu();
    if (!m_world.login.iflogin())
        m_world.login.createSoleidAndSave();
    m_world.login.Get_network_type();
    addQenNotifications();
    if (m_world.parts.startUIResourcesFileListen)
        m_world.parts.startUIResourcesFileListen();
    if (m_world.parts.configParlo)
        m_world.parts.configParlo();
    if (m_world.parts.startProcessListener)
        Platform::after(Platform::mainQueue(), m_world.parts.processListenerDelay, m_world.parts.startProcessListener);
    m_terminateCode = TerminateAtOnce;
    checkTrayStatus();
}

void AppDelegate::setAppearanceAqua() {
    Theme::apply(*qApp);
}

void AppDelegate::addQenNotifications() {
    m_hideTray = m_world.center.observe(ClientNotification::HideTray,
        [this](const Platform::Notification& notification) { checkTrayStatusConfigWithNotification(notification); });
}

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows) {
    if (!hasVisibleWindows)
        checkTrayStatus();
    return true;
}

void AppDelegate::applicationWillBecomeActive() {
    // A person who turned to About or Help after closing the main window does not want it back.
    m_answers.async([this] {
        const QenMainWindow* window = m_mainWindow.data();
        const bool isElsewhere = QApplication::activeWindow() && window && !window->isVisible();
        applyTrayStatus(isElsewhere ? MainWindow::AsItIs : MainWindow::Front);
    });
}

void AppDelegate::checkTrayStatus() {
    m_answers.async([this] { applyTrayStatus(MainWindow::Front); });
}

void AppDelegate::applyTrayStatus(MainWindow mainWindow) {
    if (m_world.login.isHideTray()) {
        m_statusItem.reset();
        // With all that stands over the main window: a dialog's window stays when the one below goes.
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->isVisible())
                window->close();
        }
        return;
    }
    if (mainWindow == MainWindow::Front)
        bringForward();
    if (m_statusItem)
        return;
    m_statusItem = std::make_unique<StatusItem>();
    connect(m_statusItem.get(), &StatusItem::clicked, this, &AppDelegate::statusItemDidCliked);
    connect(m_statusItem.get(), &StatusItem::menuRequested, this, &AppDelegate::applicationDockMenu);
    followTrayHost();
}

void AppDelegate::followTrayHost() {
    if (m_isFollowingTray) {
        m_statusItem->setTrayAvailable(m_world.trayHost.isAvailable());
        return;
    }
    m_isFollowingTray = true;
    m_world.trayHost.start(m_answers.wrapped([this](bool available) {
        if (m_statusItem)
            m_statusItem->setTrayAvailable(available);
    }));
}

void AppDelegate::bringForward() {
    if (!m_mainWindow)
        return;
    // A box, sheet or window that the person has just turned to stays in front of the main window.
    const QPointer<QWidget> active = QApplication::activeWindow();
    m_mainWindow->makeKeyAndOrderFront();
    if (active && active != m_mainWindow) {
        active->raise();
        active->activateWindow();
    }
}

void AppDelegate::statusItemDidCliked() {
    if (m_mainWindow)
        m_mainWindow->makeKeyAndOrderFront();
}

void AppDelegate::setItemsHiddenMenu() {
    if (m_menu)
        m_menu->setSignedIn(m_world.login.session().state() != SessionState::SignedOut && !m_isLoggingOut);
}

ApplicationMenu* AppDelegate::menu() const {
    return m_menu.data();
}

void AppDelegate::validateMenuItem() {
    setItemsHiddenMenu();
    if (m_menu)
        m_menu->setExportingLogs(m_isExportingLogs);
}

void AppDelegate::showAlertTipForLogin(const QString& text) {
    if (text.isEmpty())
        return;
    m_answers.async([this, text] { showAlert(text); });
}

void AppDelegate::showAlert(const QString& text) {
    // The same words twice help nobody: the box that says them comes forward.
    for (CustomMessageBox* shown : CustomMessageBox::shown()) {
        if (shown->message() == text) {
            BaseWindowController::makeKeyAndOrderFront(*shown);
            return;
        }
    }
    auto* box = new CustomMessageBox(m_mainWindow);
    box->setTitle(
        localizedString(u"Warnning"_s), text, CustomMessageBox::BoxStyle::Warning, {}, localizedString(u"Confirm"_s));
    box->attach();
}

bool AppDelegate::applicationShouldTerminate() {
    Platform::systemLog(u"applicationShouldTerminate isCanTerminated : %1"_s.arg(m_terminateCode));
    if (m_terminateCode != TerminateRefused) {
        if (m_mainWindow)
            m_mainWindow->savePlace();
        m_world.exitProcess(0);
        return true;
    }
    m_terminateCode = 0;
    showTerminateWaring();
    return false;
}

void AppDelegate::showTerminateWaring() {
    auto* box = new CustomMessageBox(m_mainWindow);
    box->setWindowModality(Qt::WindowModal);
    box->setTitle(localizedString(u"Warnning"_s), localizedString(u"ForbidenExit"_s),
        CustomMessageBox::BoxStyle::Warning, {}, localizedString(u"Confirm"_s));
    box->attach();
}

void AppDelegate::applicationDockMenu() {
    if (m_terminateCode > 0)
        m_terminateCode = 0;
    Platform::systemLog(u"terminateCode: %1"_s.arg(m_terminateCode));
}

QRect AppDelegate::mainWindowFrame() const {
    const QenMainWindow* window = m_mainWindow.data();
    return window ? window->geometry() : QRect();
}

void AppDelegate::tapAboutItem() {
    if (!m_aboutWindow) {
        m_aboutWindow = std::make_unique<QenAboutWindowController>();
        m_aboutWindow->adjustSize();
        const QSize size = m_aboutWindow->size();
        m_aboutWindow->setGeometry(QRect(BaseWindowController::getFrameOriginOfWindow(size, mainWindowFrame()), size));
    }
    BaseWindowController::makeKeyAndOrderFront(*m_aboutWindow);
}

QenHelpWebWindowController& AppDelegate::helpWindow() {
    if (!m_helpWindow)
        m_helpWindow = std::make_unique<QenHelpWebWindowController>();
    return *m_helpWindow;
}

void AppDelegate::showHelpTopic(const QString& tag) {
    helpWindow().openOver(m_mainWindow);
    helpWindow().loadHelpWithTag(tag);
}

void AppDelegate::tapHelp() {
    constexpr int Offset = 50;
    const QRect frame(
        BaseWindowController::getFrameOriginOfWindow(Theme::HelpWindowSize, mainWindowFrame()) + QPoint(Offset, Offset),
        Theme::HelpWindowSize);
    helpWindow().setGeometry(frame);
    helpWindow().loadHelpView();
    BaseWindowController::makeKeyAndOrderFront(helpWindow());
}

void AppDelegate::excludeLogs() {
    if (!m_world.parts.beginExportLogSheet)
        return;
    m_world.parts.beginExportLogSheet(m_mainWindow, m_answers.wrapped([this](bool exporting) {
        m_isExportingLogs = exporting;
        validateMenuItem();
    }));
}

void AppDelegate::modifyPasswordClick() {
    if (m_world.parts.beginModifyPasswordSheet)
        m_world.parts.beginModifyPasswordSheet(m_mainWindow);
}

void AppDelegate::ConfigureServerClick() {
    if (!m_mainWindow)
        return;
    m_mainWindow->makeKeyAndOrderFront();
    if (!m_setingWinCtrl)
        m_setingWinCtrl = new MavServerSetingWinCtrl(m_world.applicationSupport, m_mainWindow);
    m_setingWinCtrl->beginSheet();
}

void AppDelegate::menuQuit() {
    if (std::exchange(m_isQuitting, true))
        return;
    QuitSequence::start({m_world.login, m_world.log, m_world.vpn}, m_answers.wrapped([this] {
        m_isQuitting = false;
        terminate();
    }));
}
