#include "SpinnerTurn.h"

#include "Motion.h"
#include "Theme.h"

#include <QPainter>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace {

constexpr int TurnMilliseconds = 40;
constexpr int TurnDegrees = 18;
constexpr int FullTurn = 360;

} // namespace

SpinnerTurn::SpinnerTurn(QWidget* widget) : QObject(widget), m_widget(widget) {
    m_timer.setInterval(TurnMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + TurnDegrees) % FullTurn;
        m_widget->update();
    });
}

void SpinnerTurn::setOn(bool isOn) {
    if (isOn == m_isOn)
        return;
    m_isOn = isOn;
    if (m_isOn && !Motion::isReduced())
        m_timer.start();
    else
        m_timer.stop();
    m_widget->update();
}

void SpinnerTurn::paint(QPainter& painter, QPointF middle, int side, const QColor& tint) const {
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(middle);
    painter.rotate(m_angle);
    painter.drawPixmap(QPointF(-side / 2.0, -side / 2.0),
        Theme::picture(u"spinner"_s, {side, side}, m_widget->devicePixelRatioF(), tint));
    painter.restore();
}
