#pragma once

#include <QWidget>

/// Base of the client's windows: a window of its own without a title text.
class BaseWindowController : public QWidget {
    Q_OBJECT
public:
    explicit BaseWindowController(QWidget* parent = nullptr, Qt::WindowFlags flags = Qt::Window);

    /// Shows the window, or brings it in front of the others with the keyboard.
    void makeKeyAndOrderFront();

    /// Where a window of @p size stands to be centred on @p parent.
    static QPoint getFrameOriginOfWindow(QSize size, const QRect& forCenterWithWindow);
    /// Where windows like @p over can stand: its screen, less the bars that the desktop draws around a window.
    static QRect areaAround(const QWidget& over);
    /// Centred as above, moved into @p area as far as it has room; its top left corner stays there in any case.
    static QPoint originWithin(const QRect& area, QSize size, const QRect& parent);

protected:
    void showEvent(QShowEvent* event) override;
    /// Once, when the window is about to be shown for the first time.
    virtual void windowDidLoad();

private:
    bool m_loaded = false;
};
