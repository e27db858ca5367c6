#pragma once

#include <QRect>

class QWidget;

/// What all windows of the client do alike. Main thread.
namespace BaseWindowController {

/// Shows a window, or brings it in front of the others with the keyboard.
void makeKeyAndOrderFront(QWidget& window);
/// Where a window of @p size stands to be centred on another.
QPoint getFrameOriginOfWindow(QSize size, const QRect& forCenterWithWindow);
/// Where windows like @p over can stand: its screen, less the bars that the desktop draws around a window.
QRect areaAround(const QWidget& over);
/// Centred as above, moved into @p area as far as it has room; its top left corner stays there in any case.
QPoint originWithin(const QRect& area, QSize size, const QRect& parent);

} // namespace BaseWindowController
