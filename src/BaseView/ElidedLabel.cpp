#include "ElidedLabel.h"

#include "WrappableText.h"

#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

QSize ElidedLabel::minimumSizeHint() const {
    return {0, fontMetrics().height()};
}

QString ElidedLabel::line() const {
    return text().simplified();
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    const QRect area = contentsRect();
    const QString shown = fontMetrics().elidedText(line(), m_elideMode, area.width());
    painter.drawText(area, static_cast<int>(alignment() | Qt::TextSingleLine), shown);
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QLabel::event(event);
    const bool isCut = fontMetrics().horizontalAdvance(line()) > contentsRect().width();
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), isCut ? toolTipText(text()) : QString(), this);
    return true;
}
