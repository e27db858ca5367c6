#pragma once

#include <QMenu>

#include <functional>

class QAction;

/// The application menu: About, Help, log export, server settings, password, log-out, Quit.
///
/// An item that cannot be used now is grey and says why in its tool tip. Main thread.
class ApplicationMenu final : public QMenu {
    Q_OBJECT
public:
    struct Operations {
        std::function<void()> tapAboutItem;
        std::function<void()> tapHelp;
        std::function<void()> excludeLogs;
        std::function<void()> ConfigureServerClick;
        std::function<void()> modifyPasswordClick;
        std::function<void()> logoutClick;
        std::function<void()> menuQuit;
        /// Called before the menu shows.
        std::function<void()> validateMenuItem;
    };

    ApplicationMenu(const Operations& operations, QWidget* window);

    /// Gives the two items of the signed-in user their action, or takes it away.
    void setSignedIn(bool signedIn);
    /// Takes the item of the log export away while one runs.
    void setExportingLogs(bool exporting);
    QAction* logoutItem() const { return m_logoutItem; }
    QAction* modifyPasswordItem() const { return m_modifyPasswordItem; }

private:
    QAction* addItem(const QString& name, const QString& title, const std::function<void()>& operation);
    void setAvailable(QAction* item, bool available, const QString& refusal);

    QAction* m_exportItem;
    QAction* m_modifyPasswordItem;
    QAction* m_logoutItem;
};
