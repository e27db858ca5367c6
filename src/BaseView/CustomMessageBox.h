#pragma once

#include "AutoReleaseWindowController.h"

#include <functional>
#include <memory>

namespace Ui {
class CustomMessageBox;
}

/// The client's message box: a picture, a heading that is also its title, a message and one or two buttons. A message
/// that the screen has no room for is scrolled.
///
/// Attached to a window it stands above it, centred; it is not modal and releases itself when closed. Escape cancels,
/// Enter presses the button with the focus, the second one otherwise.
class CustomMessageBox : public AutoReleaseWindowController {
    Q_OBJECT
public:
    enum class BoxStyle { Information = 0, Question = 1, Warning = 2 };

    /// @param parent  the window it belongs to; may be null
    explicit CustomMessageBox(QWidget* parent);
    ~CustomMessageBox() override;

    /// An empty button title leaves that button out.
    void setTitle(const QString& title, const QString& message, BoxStyle boxStyle, const QString& firstButtonTitle,
        const QString& secondButtonTitle);
    QString message() const { return m_message; }

    /// Called once with 1 for the first button, 2 for the second, 0 when the box was closed without one.
    void setCompletion(std::function<void(int button)> completion);
    /// Centres the box on its window, shows it above it and gives it the keyboard.
    void attach();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void windowDidLoad() override;

private:
    void finish(int button);
    void fitHeight();
    int heightWithMessage(int messageHeight);

    std::unique_ptr<Ui::CustomMessageBox> m_ui;
    QString m_message;
    std::function<void(int)> m_completion;
    int m_button = 0;
};
