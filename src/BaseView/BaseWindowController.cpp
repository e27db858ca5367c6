#include "BaseWindowController.h"

#include <QScreen>
#include <QWidget>

#include <algorithm>

void BaseWindowController::makeKeyAndOrderFront(QWidget& window) {
    if (window.isMinimized())
        window.showNormal();
    else
        window.show();
    window.raise();
    window.activateWindow();
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
