#include "BaseWindowController.h"

#include <QScreen>
#include <QShowEvent>

#include <algorithm>

BaseWindowController::BaseWindowController(QWidget* parent, Qt::WindowFlags flags) : QWidget(parent, flags) {}

void BaseWindowController::makeKeyAndOrderFront() {
    if (isMinimized())
        showNormal();
    else
        show();
    raise();
    activateWindow();
}

QPoint BaseWindowController::getFrameOriginOfWindow(QSize size, const QRect& parent) {
    return {parent.x() + (parent.width() - size.width()) / 2, parent.y() + (parent.height() - size.height()) / 2};
}

QRect BaseWindowController::areaAround(const QWidget& over) {
    const QRect inner = over.window()->geometry();
    const QRect outer = over.window()->frameGeometry();
    return over.screen()->availableGeometry().adjusted(inner.left() - outer.left(), inner.top() - outer.top(),
        inner.right() - outer.right(), inner.bottom() - outer.bottom());
}

QPoint BaseWindowController::originWithin(const QRect& area, QSize size, const QRect& parent) {
    const QPoint wanted = getFrameOriginOfWindow(size, parent);
    return {std::max(area.left(), std::min(wanted.x(), area.left() + area.width() - size.width())),
        std::max(area.top(), std::min(wanted.y(), area.top() + area.height() - size.height()))};
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
