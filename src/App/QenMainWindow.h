#pragma once

#include <QMenu>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <memory>

namespace Platform {
class UserDefaults;
}

namespace Ui {
class QenMainWindow;
}

/// The main window: a white title area with the menu button, below it the content view.
///
/// Closing it hides it, with which its place in the task bar goes; the process stays. It remembers its place.
class QenMainWindow final : public QWidget {
    Q_OBJECT
public:
    explicit QenMainWindow(Platform::UserDefaults& defaults);
    ~QenMainWindow() override;

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
    const std::unique_ptr<Ui::QenMainWindow> m_ui;
    QPointer<QMenu> m_menu;
    QTimer m_placeChanged;
    bool m_altAlone = false;
};
