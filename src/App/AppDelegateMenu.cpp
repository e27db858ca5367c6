#include "AppDelegate.h"

#include "AnswerVerdict.h"
#include "BaseWindowController.h"
#include "Client.h"
#include "ClientNotifications.h"
#include "LogoutRequest.h"
#include "MavExportLogController.h"
#include "MavModifyPasswordCtrl.h"
#include "MavServerSetingWinCtrl.h"
#include "QenAboutWindowController.h"
#include "QenHelpWebWindowController.h"
#include "QenMainWindow.h"
#include "QuitSequence.h"
#include "Theme.h"

#include <QMenu>

#include <utility>

using namespace Qt::StringLiterals;

// The application menu and what its items do.

namespace {

void setAvailable(QAction* item, bool available, const QString& refusal) {
    item->setEnabled(available);
    item->setToolTip(available ? item->text() : refusal);
}

} // namespace

void AppDelegate::makeMenu() {
    QenMainWindow& window = m_world.window;
    auto* menu = new QMenu(&window);
    const auto add = [&](const QString& name, const QString& title, void (AppDelegate::*operation)(),
                         const QKeySequence& shortcut = {}) {
        QAction* item = menu->addAction(title);
        item->setObjectName(name);
        item->setShortcut(shortcut);
        connect(item, &QAction::triggered, this, operation);
        return item;
    };
    using Self = AppDelegate;
    menu->setObjectName(u"applicationMenu"_s);
    menu->setAccessibleName(u"菜单"_s);
    // The reason why an item is grey stands in its tool tip.
    menu->setToolTipsVisible(true);
    add(u"aboutItem"_s, u"关于 Mav"_s, &Self::tapAboutItem);
    add(u"helpItem"_s, u"帮助"_s, &Self::tapHelp, Qt::Key_F1);
    menu->addSeparator();
    m_exportItem = add(u"exportLogsItem"_s, u"导出日志"_s, &Self::excludeLogs);
    add(u"serverSettingsItem"_s, u"服务器设置"_s, &Self::ConfigureServerClick, Qt::CTRL | Qt::Key_Comma);
    menu->addSeparator();
    m_modifyPasswordItem = add(u"modifyPasswordItem"_s, u"修改密码"_s, &Self::modifyPasswordClick);
    m_logoutItem = add(u"logoutItem"_s, u"退出登录"_s, &Self::logoutClick);
    menu->addSeparator();
    add(u"quitItem"_s, u"退出 Mav"_s, &Self::menuQuit, Qt::CTRL | Qt::Key_Q);
    // Shortcuts work in the window while the menu is closed.
    window.addActions(menu->actions());
    window.setMenu(menu);
    connect(menu, &QMenu::aboutToShow, this, &Self::validateMenuItem);
    setItemsHiddenMenu();
}

void AppDelegate::setItemsHiddenMenu() {
    const bool isSignedIn = m_world.client.session.state() != SessionState::SignedOut && !m_isLoggingOut;
    for (QAction* item : {m_modifyPasswordItem, m_logoutItem})
        setAvailable(item, isSignedIn, u"登录后可用"_s);
    setAvailable(m_exportItem, !m_isExportingLogs, u"正在导出日志…"_s);
}

void AppDelegate::tapAboutItem() {
    if (!m_aboutWindow) {
        m_aboutWindow = std::make_unique<QenAboutWindowController>();
        m_aboutWindow->adjustSize();
        const QSize size = m_aboutWindow->size();
        m_aboutWindow->setGeometry(
            QRect(BaseWindowController::getFrameOriginOfWindow(size, m_world.window.geometry()), size));
    }
    BaseWindowController::makeKeyAndOrderFront(*m_aboutWindow);
}

QenHelpWebWindowController& AppDelegate::helpWindow() {
    if (!m_helpWindow)
        m_helpWindow = std::make_unique<QenHelpWebWindowController>();
    return *m_helpWindow;
}

void AppDelegate::showHelpTopic(const QString& tag) {
    helpWindow().openOver(&m_world.window);
    helpWindow().loadHelpWithTag(tag);
}

void AppDelegate::tapHelp() {
    constexpr int Offset = 50;
    const QSize size = Theme::HelpWindowSize;
    const QPoint origin = BaseWindowController::getFrameOriginOfWindow(size, m_world.window.geometry());
    helpWindow().setGeometry(QRect(origin + QPoint(Offset, Offset), size));
    helpWindow().loadHelpView();
    BaseWindowController::makeKeyAndOrderFront(helpWindow());
}

void AppDelegate::excludeLogs() {
    if (!m_exportLogCtrl) {
        m_exportLogCtrl = new MavExportLogController(m_world.client.log, &m_world.window);
        connect(m_exportLogCtrl, &MavExportLogController::exportingChanged, this, [this](bool isExporting) {
            m_isExportingLogs = isExporting;
            setItemsHiddenMenu();
        });
    }
    m_exportLogCtrl->beginSheet();
}

void AppDelegate::modifyPasswordClick() {
    if (!m_modifypasswordWinCtrl) {
        Client& client = m_world.client;
        m_modifypasswordWinCtrl = new MavModifyPasswordCtrl(
            {client.login, client.log, client.work, [this](const QString& text) { showAlertTipForLogin(text); }},
            &m_world.window);
    }
    m_modifypasswordWinCtrl->beginSheet();
}

void AppDelegate::ConfigureServerClick() {
    m_world.window.makeKeyAndOrderFront();
    if (!m_setingWinCtrl)
        m_setingWinCtrl = new MavServerSetingWinCtrl(m_world.client.applicationSupport, &m_world.window);
    m_setingWinCtrl->beginSheet();
}

void AppDelegate::logoutClick() {
    if (m_isLoggingOut)
        return;
    m_isLoggingOut = true;
    setItemsHiddenMenu();
    Client& client = m_world.client;
    requestLogout({.login = client.login, .device = client.device, .log = client.log, .work = client.work},
        LogoutPlace::Menu, m_answers.wrapped([this](const AnswerVerdict& verdict) { logoutAnswered(verdict); }));
}

void AppDelegate::logoutAnswered(const AnswerVerdict& verdict) {
    m_isLoggingOut = false;
    setItemsHiddenMenu();
    if (verdict.show == AnswerVerdict::Show::Done)
        m_world.client.center.post(ClientNotification::Logout, 0);
    else
        showAlertTipForLogin(verdict.told());
}

void AppDelegate::checkStatusTicket() {
    Client& client = m_world.client;
    if (!client.login.iflogin())
        return;
    client.login.checkTicketStatus([&log = client.log](const QJsonObject& answer, const Platform::Error& error) {
        log.writeLog(ticketPollLine(answer, error), 1);
    });
}

void AppDelegate::checkIsCAVersion() {
    Client& client = m_world.client;
    client.log.writeLog(u"[iNacManager] QenCloud Check Ca"_s, 1);
    if (!client.nac.checkCaVersion())
        return;
    client.log.writeLog(u"[iNacManager] QenCloud Ca exist"_s);
    client.nac.installStaticMobileconfig();
}

void AppDelegate::menuQuit() {
    if (std::exchange(m_isQuitting, true))
        return;
    Client& client = m_world.client;
    runQuitSequence(client.login, client.log, client.vpn, m_answers.wrapped([this] {
        m_isQuitting = false;
        applicationShouldTerminate();
    }));
}
