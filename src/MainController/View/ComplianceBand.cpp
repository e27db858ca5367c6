#include "ComplianceBand.h"

#include "Theme.h"

#include <QPainter>
#include <QPainterPath>

ComplianceBand::ComplianceBand(QWidget* parent) : QFrame(parent) {}

void ComplianceBand::setLook(const QString& background, const QColor& edge) {
    m_background = background;
    m_edge = edge;
    update();
}

void ComplianceBand::paintEvent(QPaintEvent*) {
    const QRectF card = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath shape;
    shape.addRoundedRect(card, Theme::CardRadius, Theme::CardRadius);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(shape, Theme::color(Theme::Color::Card));
    painter.save();
    painter.setClipPath(shape);
    // It covers the card; what is too much is cut at the left and below.
    // Of the pictures, by their shape.
    constexpr QSize PictureSize(864, 200);
    const QSize drawn = PictureSize.scaled(size(), Qt::KeepAspectRatioByExpanding);
    painter.drawPixmap(width() - drawn.width(), 0, Theme::picture(m_background, drawn, devicePixelRatioF()));
    painter.fillRect(0, 0, Theme::Space4, height(), m_edge);
    painter.restore();
    painter.setPen(Theme::color(Theme::Color::Line));
    painter.drawPath(shape);
}
