#include "Theme.h"

#include <QFile>
#include <QFont>
#include <QFontDatabase>
#include <QIconEngine>
#include <QLabel>
#include <QPainter>
#include <QStyle>
#include <QSvgRenderer>

using namespace Qt::StringLiterals;

namespace Theme {

namespace {

/// Draws one picture at whatever size and scale it is asked for.
class PictureEngine final : public QIconEngine {
public:
    PictureEngine(QString name, QColor tint, QString hover)
        : m_name(std::move(name)), m_hover(std::move(hover)), m_tint(tint) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        painter->drawPixmap(rect, drawn(rect.size(), mode, painter->device()->devicePixelRatio()));
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override { return drawn(size, mode, 1); }
    QIconEngine* clone() const override { return new PictureEngine(*this); }

private:
    QPixmap drawn(QSize size, QIcon::Mode mode, qreal scale) const {
        const bool isHovered = mode == QIcon::Active && !m_hover.isEmpty();
        const bool isPale = mode == QIcon::Disabled && m_tint.isValid();
        return picture(isHovered ? m_hover : m_name, size, scale, isPale ? color(Color::Hint) : m_tint);
    }

    QString m_name;
    QString m_hover;
    QColor m_tint;
};

} // namespace

QColor tone(size_t index) {
    constexpr QRgb Tones[] = {0x2468F2, 0x0E7F57, 0xB4500B, 0x6B4BD8, 0x0B7A9C, 0xB83280, 0x5B6577, 0x8A6A00};
    return QColor(Tones[index % std::size(Tones)]);
}

QFont font(TextSize size) {
    QFont font(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    // The Simplified Chinese cut by name: the bare fallback of a foreign locale would draw Japanese forms.
    QStringList families{
        u"Noto Sans CJK SC"_s, u"Source Han Sans SC"_s, u"WenQuanYi Micro Hei"_s, u"Droid Sans Fallback"_s};
    // Without a desktop's choice there is only an alias, which is drawn with another face from one text to the next.
    if (QFontDatabase::hasFamily(font.family()))
        families.prepend(font.family());
    font.setFamilies(families);
    font.setPixelSize(pixels(size));
    return font;
}

QPixmap picture(const QString& name, QSize size, qreal scale, const QColor& tint) {
    QFile file(u":/images/%1.svg"_s.arg(name));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray drawing = file.readAll();
    if (tint.isValid())
        drawing.replace("currentColor", tint.name().toLatin1());
    QSvgRenderer renderer(drawing);
    renderer.setAspectRatioMode(Qt::KeepAspectRatio);
    QPixmap pixmap(size * scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    renderer.render(&painter, QRectF(QPointF(), QSizeF(pixmap.size())));
    painter.end();
    pixmap.setDevicePixelRatio(scale);
    return pixmap;
}

void setPicture(QLabel* label, const QString& name, int side, const QColor& tint) {
    label->setPixmap(picture(name, {side, side}, label->devicePixelRatioF(), tint));
    // In the middle of the line that it may stand beside.
    label->setMinimumHeight(roomFor(side));
}

QIcon icon(const QString& name, const QColor& tint, const QString& hover) {
    return QIcon(new PictureEngine(name, tint, hover));
}

QIcon iconInSizes(const QString& name, const QColor& tint) {
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 48, 64, 128})
        icon.addPixmap(picture(name, {side, side}, 1, tint));
    return icon;
}

void setRole(QWidget* widget, const char* property, const QString& role) {
    if (widget->property(property).toString() == role)
        return;
    widget->setProperty(property, role);
    widget->style()->unpolish(widget);
    widget->style()->polish(widget);
}

} // namespace Theme
