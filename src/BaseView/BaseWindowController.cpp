#include "BaseWindowController.h"

#include <QShowEvent>

BaseWindowController::BaseWindowController(QWidget* parent, Qt::WindowFlags flags) : QWidget(parent, flags) {}

void BaseWindowController::makeKeyAndOrderFront() {
    if (isMinimized())
        showNormal();
    else
        show();
    raise();
    activateWindow();
}

QPoint BaseWindowController::originForCentring(QSize size, const QRect& parent) {
    return {parent.x() + (parent.width() - size.width()) / 2, parent.y() + (parent.height() - size.height()) / 2};
}

void BaseWindowController::showEvent(QShowEvent* event) {
    if (!m_loaded) {
        m_loaded = true;
        windowDidLoad();
    }
    QWidget::showEvent(event);
}

void BaseWindowController::windowDidLoad() {
    // The desktop's title bar stays the desktop's; it only carries no text.
    setWindowTitle({});
}
