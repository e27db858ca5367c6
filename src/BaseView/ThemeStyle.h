#pragma once

#include <QProxyStyle>

/// The widget style under the style sheet: draws the focus ring outside its control and keeps menus and boxes in the
/// light look.
class ThemeStyle final : public QProxyStyle {
    Q_OBJECT
public:
    ThemeStyle();
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(
        StyleHint hint, const QStyleOption* option, const QWidget* widget, QStyleHintReturn* returnData) const override;
    void drawControl(
        ControlElement element, const QStyleOption* option, QPainter* painter, const QWidget* widget) const override;
    void drawPrimitive(
        PrimitiveElement element, const QStyleOption* option, QPainter* painter, const QWidget* widget) const override;
};
