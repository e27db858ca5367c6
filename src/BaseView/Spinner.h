#pragma once

#include <QLabel>
#include <QTimer>

/// A ring that turns while it can be seen; where the person wants little motion it stands still. Its colour and ground
/// come from the style sheet. Main thread.
class Spinner final : public QLabel {
    Q_OBJECT
public:
    /// @param side  of the ring, in the middle of this widget
    Spinner(int side, QWidget* parent);

    /// True while it costs time.
    bool isTurning() const { return m_timer.isActive(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    const int m_side;
    QTimer m_timer;
    int m_angle = 0;
};
