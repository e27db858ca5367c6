#include "Spinner.h"

#include "Motion.h"
#include "Theme.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int TurnMilliseconds = 40;
constexpr int TurnDegrees = 18;
constexpr int FullTurn = 360;

} // namespace

Spinner::Spinner(int side, QWidget* parent) : QLabel(parent), m_side(side) {
    setFixedSize(side, side);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + TurnDegrees) % FullTurn;
        update();
    });
}

void Spinner::showEvent(QShowEvent* event) {
    QLabel::showEvent(event);
    if (!Motion::isReduced())
        m_timer.start(TurnMilliseconds);
}

void Spinner::hideEvent(QHideEvent* event) {
    m_timer.stop();
    QLabel::hideEvent(event);
}

void Spinner::paintEvent(QPaintEvent* event) {
    QLabel::paintEvent(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(QRectF(rect()).center());
    painter.rotate(m_angle);
    painter.drawPixmap(QPointF(-m_side / 2.0, -m_side / 2.0),
        Theme::picture(u"spinner"_s, {m_side, m_side}, devicePixelRatioF(), palette().color(foregroundRole())));
}
