#pragma once

#include <QMenu>
#include <QPointer>
#include <QTimer>
#include <QWidget>

class QToolButton;

namespace Platform {
class UserDefaults;
}

/// The main window: a white title area with the menu button, below it the content view.
///
/// Closing it hides it, with which its place in the task bar goes; the process stays. It remembers its place.
class QenMainWindow final : public QWidget {
    Q_OBJECT
public:
    explicit QenMainWindow(Platform::UserDefaults& defaults);

    /// The title area's button opens @p menu, and so do F10 and Alt alone.
    void setMenu(QMenu* menu);
    void setContentView(QWidget* view);
    void makeKeyAndOrderFront();

    /// Miniaturise button shown, zoom button hidden.
    void handleTitleView();
    /// True from the close of the window until it is shown again.
    bool isCloseWindow() const { return m_isCloseWindow; }
    /// Writes the place down now.
    void savePlace();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void restorePlace();
    void openMenu();

    Platform::UserDefaults& m_defaults;
    QToolButton* m_menuButton;
    QPointer<QMenu> m_menu;
    QTimer m_placeChanged;
    bool m_isCloseWindow = false;
    bool m_altAlone = false;
};
