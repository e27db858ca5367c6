#include "ApplicationMenu.h"

#include <QAction>

namespace {

const QString SignedInOnly = QStringLiteral("登录后可用");
const QString Exporting = QStringLiteral("正在导出日志…");

} // namespace

ApplicationMenu::ApplicationMenu(const Operations& operations, QWidget* window) : QMenu(window) {
    setObjectName(QStringLiteral("applicationMenu"));
    setAccessibleName(QStringLiteral("菜单"));
    // The reason why an item is grey stands in its tool tip.
    setToolTipsVisible(true);
    addItem(QStringLiteral("aboutItem"), QStringLiteral("关于 Mav"), operations.tapAboutItem);
    addItem(QStringLiteral("helpItem"), QStringLiteral("帮助"), operations.tapHelp)
        ->setShortcut(QKeySequence(Qt::Key_F1));
    addSeparator();
    m_exportItem = addItem(QStringLiteral("exportLogsItem"), QStringLiteral("导出日志"), operations.excludeLogs);
    addItem(QStringLiteral("serverSettingsItem"), QStringLiteral("服务器设置"), operations.ConfigureServerClick)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    addSeparator();
    m_modifyPasswordItem =
        addItem(QStringLiteral("modifyPasswordItem"), QStringLiteral("修改密码"), operations.modifyPasswordClick);
    m_logoutItem = addItem(QStringLiteral("logoutItem"), QStringLiteral("退出登录"), operations.logoutClick);
    addSeparator();
    addItem(QStringLiteral("quitItem"), QStringLiteral("退出 Mav"), operations.menuQuit)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
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
