#include "QenCheckPasswordFormat.h"

#include "Compositing.h"
#include "Theme.h"

#include <QEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int GroundWidth = 220;
constexpr int PointerWidth = 6;
constexpr QRgb ShadowColor = 0x666666;
constexpr double ShadowBlur = 5.0;
/// Room that the shadow takes on each side; nothing of it is left to see there.
constexpr int ShadowRoom = 8;

/// The blurred edge of the shape, as far as it shows around it. The toolkit's own shadow effect lies a point too low
/// even without an offset.
void paintShadow(QPainter& painter, const QPainterPath& shape) {
    constexpr double Step = 0.5;
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (double distance = ShadowRoom - 1; distance > 0; distance -= Step) {
        QColor color(ShadowColor);
        color.setAlphaF(static_cast<float>(std::erfc((distance - Step / 2) * M_SQRT2 / ShadowBlur) / 2));
        painter.strokePath(shape, QPen(color, 2 * distance, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    }
    painter.restore();
}

} // namespace

QenCheckPasswordFormat::QenCheckPasswordFormat(QWidget* parent)
    : QWidget(parent,
          Qt::ToolTip | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint | Qt::WindowTransparentForInput |
              Qt::WindowDoesNotAcceptFocus),
      // Without a compositing manager the room around the ground would be black: a plain frame then.
      m_hasShadow(Platform::hasCompositing()), m_ground(new QWidget(this)), m_tipsLab(new QLabel(m_ground)) {
    setObjectName(u"checkPasswordCtrl"_s);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground, m_hasShadow);
    setFocusPolicy(Qt::NoFocus);
    m_ground->setObjectName(u"tipsGround"_s);
    m_tipsLab->setObjectName(u"tipsLab"_s);
    m_tipsLab->setProperty("textRole", u"note"_s);
    m_tipsLab->setTextFormat(Qt::PlainText);
    m_tipsLab->setWordWrap(true);

    auto* layout = new QVBoxLayout(m_ground);
    layout->setContentsMargins(Theme::Space12, Theme::Space4, Theme::Space12, Theme::Space4);
    layout->addWidget(m_tipsLab);
}

void QenCheckPasswordFormat::showTips(const QString& tips, QWidget* field, double height) {
    m_field = field;
    // It hears of fields and windows that it was beside before, too, and takes no notice.
    field->installEventFilter(this);
    field->window()->installEventFilter(this);
    connect(field, &QObject::destroyed, this, &QWidget::hide, Qt::UniqueConnection);
    m_tipsLab->setText(tips);
    setAccessibleName(tips);
    place(height);
    show();
}

void QenCheckPasswordFormat::place(double height) {
    const QWidget* field = m_field.data();
    if (!field)
        return;
    const int room = m_hasShadow ? ShadowRoom : 0;
    const int pointer = m_hasShadow ? PointerWidth : 0;
    // Clear of the focus ring.
    const int gap = Theme::Space8;

    const QRect beside(field->mapToGlobal(QPoint()), field->size());
    m_tipsLab->ensurePolished();
    // Larger type than the height was thought for takes more.
    const QSize size(GroundWidth + pointer, std::max(qRound(height), m_ground->heightForWidth(GroundWidth)));
    const int right = beside.right() + 1 + gap;
    const bool fitsRight = right + size.width() <= field->screen()->availableGeometry().right() + 1;
    const QPoint origin(
        fitsRight ? right : beside.left() - gap - size.width(), beside.center().y() - size.height() / 2 + 1);
    m_pointsLeft = fitsRight;
    m_ground->setGeometry(QRect(QPoint(room + (fitsRight ? pointer : 0), room), QSize(GroundWidth, size.height())));
    setGeometry(QRect(origin, size).adjusted(-room, -room, room, room));
    update();
}

void QenCheckPasswordFormat::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF ground = m_ground->geometry();
    if (!m_hasShadow) {
        painter.fillRect(ground, Theme::color(Theme::Color::Line));
        painter.fillRect(ground.adjusted(1, 1, -1, -1), Theme::color(Theme::Color::Card));
        return;
    }
    const QPointF base(m_pointsLeft ? ground.left() : ground.right(), ground.center().y());
    QPainterPath pointer;
    pointer.addPolygon(QPolygonF{base + QPointF(m_pointsLeft ? -PointerWidth : PointerWidth, 0),
        base + QPointF(0, -PointerWidth), base + QPointF(0, PointerWidth)});
    pointer.closeSubpath();
    QPainterPath shape;
    shape.addRoundedRect(ground, Theme::ButtonRadius, Theme::ButtonRadius);
    shape = shape.united(pointer);
    painter.setRenderHint(QPainter::Antialiasing);
    paintShadow(painter, shape);
    painter.fillPath(shape, Theme::color(Theme::Color::Card));
}

bool QenCheckPasswordFormat::eventFilter(QObject* watched, QEvent* event) {
    if (!m_field || (watched != m_field && watched != m_field->window()))
        return false;
    const QEvent::Type type = event->type();
    if (type == QEvent::FocusOut || type == QEvent::Hide || type == QEvent::WindowDeactivate)
        hide();
    else if (type == QEvent::Move || type == QEvent::Resize)
        place(m_ground->height());
    return false;
}

void QenCheckPasswordFormat::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    m_field = nullptr;
}
