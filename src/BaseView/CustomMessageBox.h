#pragma once

#include "ui_CustomMessageBox.h"

#include <QDialog>

/// The client's message box: a picture, a heading that is also its title, a message and one or two buttons. A message
/// that the screen has no room for is scrolled.
///
/// Attached to a window it stands above it, centred; it is not modal and releases itself when closed. Its result is 1
/// for the first button, 2 for the second, 0 when it was closed without one. Escape cancels, Enter presses the button
/// with the focus, the second one otherwise.
class CustomMessageBox final : public QDialog {
    Q_OBJECT
public:
    enum class BoxStyle { Information, Warning };

    /// @param parent  the window it belongs to; may be null
    explicit CustomMessageBox(QWidget* parent);
    /// Those that stand open, in no order.
    static QList<CustomMessageBox*> shown();

    /// An empty button title leaves that button out.
    void setTitle(const QString& title, const QString& message, BoxStyle boxStyle, const QString& firstButtonTitle,
        const QString& secondButtonTitle);
    const QString& message() const { return m_message; }
    /// Centres the box on its window, shows it above it and gives it the keyboard.
    void attach();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void fitHeight();
    int heightWithMessage(int messageHeight);

    Ui::CustomMessageBox m_ui;
    QString m_message;
};
