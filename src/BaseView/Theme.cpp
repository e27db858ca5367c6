#include "Theme.h"

#include "FocusRing.h"
#include "ThemeStyle.h"

#include <QApplication>
#include <QFile>
#include <QFont>
#include <QFontDatabase>
#include <QIconEngine>
#include <QLocale>
#include <QPainter>
#include <QPalette>
#include <QStyle>
#include <QSvgRenderer>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace Theme {

namespace {

/// Draws one picture at whatever size and scale it is asked for.
class PictureEngine final : public QIconEngine {
public:
    PictureEngine(QString name, QColor tint) : m_name(std::move(name)), m_tint(tint) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const qreal scale = painter->device()->devicePixelRatio();
        painter->drawPixmap(rect, picture(m_name, rect.size(), scale, tintFor(mode)));
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        return picture(m_name, size, 1, tintFor(mode));
    }
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State, qreal scale) override {
        // The size already counts device pixels.
        QPixmap drawn = picture(m_name, size, 1, tintFor(mode));
        drawn.setDevicePixelRatio(scale);
        return drawn;
    }
    QIconEngine* clone() const override { return new PictureEngine(*this); }

private:
    QColor tintFor(QIcon::Mode mode) const {
        return mode == QIcon::Disabled && m_tint.isValid() ? color(Color::Hint) : m_tint;
    }

    QString m_name;
    QColor m_tint;
};

QPalette lightPalette() {
    QPalette palette(color(Color::Text), color(Color::Card), color(Color::Card), color(Color::SecondText),
        color(Color::SecondText), color(Color::Text), color(Color::Card), color(Color::Card), color(Color::Ground));
    palette.setColor(QPalette::Highlight, color(Color::Brand));
    palette.setColor(QPalette::HighlightedText, color(Color::Card));
    palette.setColor(QPalette::Link, color(Color::Brand));
    palette.setColor(QPalette::LinkVisited, color(Color::BrandPressed));
    palette.setColor(QPalette::PlaceholderText, color(Color::Hint));
    palette.setColor(QPalette::ToolTipBase, color(Color::Text));
    palette.setColor(QPalette::ToolTipText, color(Color::Card));
    palette.setColor(QPalette::Mid, color(Color::Line));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, color(Color::Hint));
    return palette;
}

} // namespace

QColor color(Color name) {
    switch (name) {
    case Color::Ground:
        return QColor(0xF5, 0xF7, 0xFA);
    case Color::Card:
        return QColor(0xFF, 0xFF, 0xFF);
    case Color::Line:
        return QColor(0xE5, 0xE8, 0xEF);
    case Color::Text:
        return QColor(0x1D, 0x24, 0x33);
    case Color::SecondText:
        return QColor(0x5B, 0x65, 0x77);
    case Color::Hint:
        return QColor(0x98, 0xA2, 0xB3);
    case Color::Brand:
        return QColor(0x24, 0x68, 0xF2);
    case Color::BrandHover:
        return QColor(0x4B, 0x85, 0xF5);
    case Color::BrandPressed:
        return QColor(0x1B, 0x52, 0xC4);
    case Color::BrandDisabled:
        return QColor(0xB9, 0xCE, 0xFB);
    case Color::BrandTint:
        return QColor(0xEC, 0xF2, 0xFE);
    case Color::Safe:
        return QColor(0x17, 0xA6, 0x73);
    case Color::SafeText:
        return QColor(0x0E, 0x7F, 0x57);
    case Color::Attention:
        return QColor(0xF4, 0x6F, 0x16);
    case Color::Danger:
        return QColor(0xD6, 0x36, 0x2B);
    }
    return {};
}

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
    font.setPixelSize(static_cast<int>(size));
    return font;
}

void apply(QApplication& application) {
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
    application.setStyle(new ThemeStyle);
    application.setPalette(lightPalette());
    application.setFont(font(TextSize::Body));
    application.setStyleSheet(styleSheet());
    application.setWindowIcon(iconInSizes(u"mark"_s));
    if (!application.findChild<FocusRing*>())
        new FocusRing(&application);
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

QIcon icon(const QString& name, const QColor& tint) {
    return QIcon(new PictureEngine(name, tint));
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
