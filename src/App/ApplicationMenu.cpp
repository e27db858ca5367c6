#include "ApplicationMenu.h"

#include <QAction>

namespace {

const QString NotBuilt = QStringLiteral("当前版本未包含此功能");
const QString SignedInOnly = QStringLiteral("登录后可用");

} // namespace

ApplicationMenu::ApplicationMenu(const Operations& operations, QWidget* window)
    : QMenu(window), m_canModifyPassword(operations.modifyPasswordClick != nullptr) {
    setObjectName(QStringLiteral("applicationMenu"));
    setAccessibleName(QStringLiteral("菜单"));
    // The reason why an item is grey stands in its tool tip.
    setToolTipsVisible(true);
    addItem(QStringLiteral("aboutItem"), QStringLiteral("关于 Mav"), operations.tapAboutItem);
    addItem(QStringLiteral("helpItem"), QStringLiteral("帮助"), operations.tapHelp)
        ->setShortcut(QKeySequence(Qt::Key_F1));
    addSeparator();
    QAction* exportItem = addItem(QStringLiteral("exportLogsItem"), QStringLiteral("导出日志"), operations.excludeLogs);
    setAvailable(exportItem, operations.excludeLogs != nullptr, true, {});
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
    if (operation)
        connect(item, &QAction::triggered, this, operation);
    return item;
}

void ApplicationMenu::setAvailable(QAction* item, bool built, bool allowed, const QString& refusal) {
    item->setEnabled(built && allowed);
    item->setToolTip(!built ? NotBuilt : !allowed ? refusal : item->text());
}

void ApplicationMenu::setSignedIn(bool signedIn) {
    setAvailable(m_modifyPasswordItem, m_canModifyPassword, signedIn, SignedInOnly);
    setAvailable(m_logoutItem, true, signedIn, SignedInOnly);
}
