#include "AppDelegate.h"

#include "BaseWindowController.h"
#include "Client.h"
#include "ClientNotifications.h"
#include "CustomMessageBox.h"
#include "QenAboutWindowController.h"
#include "QenHelpWebWindowController.h"
#include "QenMainWindow.h"
#include "StringTable.h"
#include "SystemLog.h"
#include "Theme.h"
#include "TrayHost.h"

#include <QApplication>
#include <QSystemTrayIcon>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 TerminateAtOnce = -1;
/// Refuses the next quit, once.
constexpr qint64 TerminateRefused = 1;

} // namespace

AppDelegate::AppDelegate(World world) : m_world(std::move(world)) {
    makeMenu();
    connect(&m_world.client.session, &Session::changed, this, &AppDelegate::setItemsHiddenMenu);
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    Client& client = m_world.client;
    client.log.writeLog(u"----------start Mav-----------"_s, 1);
    setAppearanceAqua();
    setItemsHiddenMenu();
    if (!client.login.iflogin())
        client.login.createSoleidAndSave();
    client.login.Get_network_type();
    addQenNotifications();
    client.fileListener.startUIResourcesFileListen();
    client.parlo.config();
    Platform::after(Platform::mainQueue(), m_world.processListenerDelay,
        m_answers.wrapped([&listener = client.processListener] { listener.startListening(); }));
    m_terminateCode = TerminateAtOnce;
    checkTrayStatus();
}

void AppDelegate::setAppearanceAqua() {
    Theme::apply(*qApp);
}

void AppDelegate::addQenNotifications() {
    m_hideTray = m_world.client.center.observe(ClientNotification::HideTray,
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
        const bool isElsewhere = QApplication::activeWindow() && !m_world.window.isVisible();
        applyTrayStatus(isElsewhere ? MainWindow::AsItIs : MainWindow::Front);
    });
}

void AppDelegate::checkTrayStatus() {
    m_answers.async([this] { applyTrayStatus(MainWindow::Front); });
}

void AppDelegate::applyTrayStatus(MainWindow mainWindow) {
    if (m_world.client.login.isHideTray()) {
        m_hasStatusItem = false;
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
    if (!std::exchange(m_hasStatusItem, true))
        followTrayHost();
}

void AppDelegate::followTrayHost() {
    if (std::exchange(m_isFollowingTray, true))
        setTrayAvailable(m_world.trayHost.isAvailable());
    else
        m_world.trayHost.start(m_answers.wrapped([this](bool available) { setTrayAvailable(available); }));
}

void AppDelegate::setTrayAvailable(bool available) {
    const bool isShown = available && m_hasStatusItem;
    if (!isShown)
        m_statusItem.reset();
    if (!isShown || m_statusItem)
        return;
    // One shape in a tone that stands out on light and dark panels alike: no tray tells its colour.
    m_statusItem = std::make_unique<QSystemTrayIcon>(
        Theme::iconInSizes(u"Mav_status_icon"_s, Theme::color(Theme::Color::BrandHover)));
    m_statusItem->setToolTip(QGuiApplication::applicationDisplayName());
    connect(m_statusItem.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            statusItemDidCliked();
        else if (reason == QSystemTrayIcon::Context)
            applicationDockMenu();
    });
    m_statusItem->show();
}

void AppDelegate::bringForward() {
    // A box, sheet or window that the person has just turned to stays in front of the main window.
    const QPointer<QWidget> active = QApplication::activeWindow();
    m_world.window.makeKeyAndOrderFront();
    if (active && active != &m_world.window) {
        active->raise();
        active->activateWindow();
    }
}

void AppDelegate::statusItemDidCliked() {
    m_world.window.makeKeyAndOrderFront();
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
    warningBox(text)->attach();
}

CustomMessageBox* AppDelegate::warningBox(const QString& text) {
    auto* box = new CustomMessageBox(&m_world.window);
    box->setTitle(
        localizedString(u"Warnning"_s), text, CustomMessageBox::BoxStyle::Warning, {}, localizedString(u"Confirm"_s));
    return box;
}

bool AppDelegate::applicationShouldTerminate() {
    Platform::systemLog(u"applicationShouldTerminate isCanTerminated : %1"_s.arg(m_terminateCode));
    if (m_terminateCode != TerminateRefused) {
        m_world.window.savePlace();
        m_world.exitProcess(0);
        return true;
    }
    m_terminateCode = 0;
    showTerminateWaring();
    return false;
}

void AppDelegate::showTerminateWaring() {
    CustomMessageBox* box = warningBox(localizedString(u"ForbidenExit"_s));
    box->setWindowModality(Qt::WindowModal);
    box->attach();
}

void AppDelegate::applicationDockMenu() {
    if (m_terminateCode > 0)
        m_terminateCode = 0;
    Platform::systemLog(u"terminateCode: %1"_s.arg(m_terminateCode));
}
