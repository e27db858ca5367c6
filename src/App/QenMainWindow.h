#pragma once

#include "ui_QenMainWindow.h"

#include <QMenu>
#include <QPointer>
#include <QTimer>
#include <QWidget>

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
    void setMenu(QMenu* menu) { m_menu = menu; }
    void setContentView(QWidget* view);
    void makeKeyAndOrderFront();

    /// Miniaturise button shown, zoom button hidden.
    void handleTitleView();
    bool isCloseWindow() const { return !isVisible(); }
    /// Writes the place down now.
    void savePlace();

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void restorePlace();
    void openMenu();

    Platform::UserDefaults& m_defaults;
    Ui::QenMainWindow m_ui;
    QPointer<QMenu> m_menu;
    QTimer m_placeChanged;
    bool m_altAlone = false;
};
