#pragma once

#include "ui_QenHelpWebWindowController.h"

#include <QDialog>

/// The help window: topics at the left, the chosen one at the right. Its pages are part of the program. Escape closes
/// it.
class QenHelpWebWindowController final : public QDialog {
    Q_OBJECT
public:
    explicit QenHelpWebWindowController(QWidget* parent = nullptr);

    /// Shows the first topic, unless one is already shown.
    void loadHelpView();
    /// Shows from its top the topic that @p tag names, which is the keyword of a compliance check; the first one when
    /// no topic has that name.
    void loadHelpWithTag(const QString& tag);

    /// Shows the window in its usual size to the upper right of the middle of @p window, in front and with the
    /// keyboard.
    /// @param window  the main window or anything in it; null stands for the primary screen
    void openOver(const QWidget* window);
    /// Where that is.
    /// @param screen  what the window is to stay within; it gets smaller where this is too small
    static QRect frameOver(const QRect& window, const QRect& screen);

private:
    void showTopic(int row);

    Ui::QenHelpWebWindowController m_ui;
};
