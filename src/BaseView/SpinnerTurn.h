#pragma once

#include <QTimer>

class QColor;
class QPainter;
class QPointF;
class QWidget;

/// Turns the spinner of a widget while it is on; where the person wants little motion it is shown and stands still.
class SpinnerTurn final : public QObject {
    Q_OBJECT
public:
    /// @param widget  is drawn anew at each step
    explicit SpinnerTurn(QWidget* widget);

    void setOn(bool isOn);
    bool isOn() const { return m_isOn; }
    /// True while it costs time.
    bool isTurning() const { return m_timer.isActive(); }
    void paint(QPainter& painter, QPointF middle, int side, const QColor& tint) const;

private:
    QWidget* m_widget;
    QTimer m_timer;
    bool m_isOn = false;
    int m_angle = 0;
};
