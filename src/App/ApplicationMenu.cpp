#include "ApplicationMenu.h"

#include <QAction>

using namespace Qt::StringLiterals;

namespace {

const QString SignedInOnly = u"登录后可用"_s;
const QString Exporting = u"正在导出日志…"_s;

} // namespace

ApplicationMenu::ApplicationMenu(const Operations& operations, QWidget* window) : QMenu(window) {
    setObjectName(u"applicationMenu"_s);
    setAccessibleName(u"菜单"_s);
    // The reason why an item is grey stands in its tool tip.
    setToolTipsVisible(true);
    addItem(u"aboutItem"_s, u"关于 Mav"_s, operations.tapAboutItem);
    addItem(u"helpItem"_s, u"帮助"_s, operations.tapHelp)->setShortcut(QKeySequence(Qt::Key_F1));
    addSeparator();
    m_exportItem = addItem(u"exportLogsItem"_s, u"导出日志"_s, operations.excludeLogs);
    addItem(u"serverSettingsItem"_s, u"服务器设置"_s, operations.ConfigureServerClick)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    addSeparator();
    m_modifyPasswordItem = addItem(u"modifyPasswordItem"_s, u"修改密码"_s, operations.modifyPasswordClick);
    m_logoutItem = addItem(u"logoutItem"_s, u"退出登录"_s, operations.logoutClick);
    addSeparator();
    addItem(u"quitItem"_s, u"退出 Mav"_s, operations.menuQuit)->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    setSignedIn(false);
    setExportingLogs(false);
    // Shortcuts work in the window while the menu is closed.
    window->addActions(actions());
    connect(this, &QMenu::aboutToShow, this, [validate = operations.validateMenuItem] {
        if (validate)
            validate();
    });
}

QAction* ApplicationMenu::addItem(const QString& name, const QString& title, const std::function<void()>& operation) {
    QAction* item = addAction(title);
    item->setObjectName(name);
    connect(item, &QAction::triggered, this, operation);
    return item;
}

void ApplicationMenu::setAvailable(QAction* item, bool available, const QString& refusal) {
    item->setEnabled(available);
    item->setToolTip(available ? item->text() : refusal);
}

void ApplicationMenu::setSignedIn(bool signedIn) {
    setAvailable(m_modifyPasswordItem, signedIn, SignedInOnly);
    setAvailable(m_logoutItem, signedIn, SignedInOnly);
}

void ApplicationMenu::setExportingLogs(bool exporting) {
    setAvailable(m_exportItem, !exporting, Exporting);
}
