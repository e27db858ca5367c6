#include "ThemeStyle.h"

#include "Theme.h"

#include <QPainter>
#include <QStyleOption>

using namespace Qt::StringLiterals;

ThemeStyle::ThemeStyle() : QProxyStyle(u"Fusion"_s) {}

int ThemeStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    if (metric == PM_FocusFrameHMargin || metric == PM_FocusFrameVMargin)
        return Theme::FocusRingGap + Theme::FocusRingWidth;
    return QProxyStyle::pixelMetric(metric, option, widget);
}

int ThemeStyle::styleHint(
    StyleHint hint, const QStyleOption* option, const QWidget* widget, QStyleHintReturn* returnData) const {
    if (hint == SH_FocusFrame_Mask)
        return 0;
    // A frame beside the control would be cut by the control's card; above the window's content it is whole.
    if (hint == SH_FocusFrame_AboveWidget)
        return 1;
    return QProxyStyle::styleHint(hint, option, widget, returnData);
}

void ThemeStyle::drawControl(
    ControlElement element, const QStyleOption* option, QPainter* painter, const QWidget* widget) const {
    if (element != CE_FocusFrame) {
        QProxyStyle::drawControl(element, option, painter, widget);
        return;
    }
    const qreal half = Theme::FocusRingWidth / 2.0;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(Theme::color(Theme::Color::Brand), Theme::FocusRingWidth));
    painter->setBrush(Qt::NoBrush);
    const qreal radius = Theme::CardRadius + Theme::FocusRingGap;
    painter->drawRoundedRect(QRectF(option->rect).adjusted(half, half, -half, -half), radius, radius);
    painter->restore();
}

void ThemeStyle::drawPrimitive(
    PrimitiveElement element, const QStyleOption* option, QPainter* painter, const QWidget* widget) const {
    // The ring tells the focus; the dotted inner frame would tell it twice.
    if (element == PE_FrameFocusRect)
        return;
    QProxyStyle::drawPrimitive(element, option, painter, widget);
}
