#include "QenToolCell.h"

#include "Theme.h"

#include <QFile>
#include <QKeyEvent>
#include <QPainter>
#include <QPixmapCache>
#include <QTextLayout>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int PictureSide = 48;
constexpr int NameLines = 2;
constexpr int LongestDrawnName = 256;
constexpr int ShadowSteps = 3;
const QString DefaultPicture = u"AppIcon"_s;

/// The picture named by the part of @p icon before its first dot, if there is one.
QString pictureFor(const QString& icon) {
    const QString name = icon.section(u'.', 0, 0);
    const bool isName = !name.isEmpty() && !name.contains(u'/');
    return isName && QFile::exists(u":/images/%1.svg"_s.arg(name)) ? name : DefaultPicture;
}

/// The drawn picture, kept for the other tiles and the next time: a scroll must not draw every picture anew.
QPixmap drawnPicture(const QString& icon, qreal scale) {
    const QString name = pictureFor(icon);
    const QString key = u"QenToolCell/%1@%2"_s.arg(name).arg(scale);
    QPixmap drawn;
    if (!QPixmapCache::find(key, &drawn)) {
        drawn = Theme::picture(name, {PictureSide, PictureSide}, scale);
        QPixmapCache::insert(key, drawn);
    }
    return drawn;
}

/// @p name cut into at most two lines of @p width, the last one with an ellipsis when more is left.
QStringList nameLines(const QString& name, const QFont& font, int width) {
    const QFontMetrics metrics(font);
    const QString drawn = name.left(LongestDrawnName);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    QTextLayout layout(drawn, font);
    layout.setTextOption(option);
    layout.beginLayout();
    QStringList lines;
    while (lines.size() < NameLines) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(width);
        const bool isLast = lines.size() == NameLines - 1;
        lines.append(isLast ? metrics.elidedText(drawn.mid(line.textStart()), Qt::ElideRight, width)
                            : drawn.mid(line.textStart(), line.textLength()));
    }
    layout.endLayout();
    return lines;
}

} // namespace

QenToolCell::QenToolCell(QenToolModel model, QWidget* parent) : QAbstractButton(parent), m_model(std::move(model)) {
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
    // Its own name, not a shortcut.
    setText(QString(m_model.appName).replace(u'&', u"&&"_s));
    setAccessibleName(m_model.appName);
    setToolTip(m_model.appName.toHtmlEscaped());
    connect(this, &QAbstractButton::clicked, this, &QenToolCell::toolButtonAction);
}

void QenToolCell::setCompletion(std::function<void(QenToolCell*)> completion) {
    m_completion = std::move(completion);
}

void QenToolCell::toolButtonAction() {
    if (m_completion)
        m_completion(this);
}

void QenToolCell::enterEvent(QEnterEvent* event) {
    m_isHovered = true;
    update();
    QAbstractButton::enterEvent(event);
}

void QenToolCell::leaveEvent(QEvent* event) {
    m_isHovered = false;
    update();
    QAbstractButton::leaveEvent(event);
}

void QenToolCell::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter)
        QAbstractButton::keyPressEvent(event);
    else if (!event->isAutoRepeat())
        click();
}

void QenToolCell::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // Room below for the shadow on which it lifts.
    const QRectF tile = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -ShadowSteps - 0.5);
    if (m_isHovered) {
        painter.setPen(Qt::NoPen);
        for (int step = ShadowSteps; step > 0; --step) {
            QColor shade = Theme::color(Theme::Color::Text);
            shade.setAlpha(8);
            painter.setBrush(shade);
            painter.drawRoundedRect(tile.adjusted(-0.5, 1, 0.5, step), Theme::CardRadius, Theme::CardRadius);
        }
    }
    painter.setPen(Theme::color(m_isHovered ? Theme::Color::Brand : Theme::Color::Line));
    painter.setBrush(Theme::color(isDown() ? Theme::Color::BrandTint : Theme::Color::Card));
    painter.drawRoundedRect(tile, Theme::CardRadius, Theme::CardRadius);

    const QPoint picture((width() - PictureSide) / 2, Theme::Space12);
    painter.drawPixmap(picture, drawnPicture(m_model.icon, devicePixelRatioF()));

    const QFont font = Theme::font(Theme::TextSize::Note);
    const int lineHeight = QFontMetrics(font).height();
    QRect line(Theme::Space8, picture.y() + PictureSide + Theme::Space4, width() - 2 * Theme::Space8, lineHeight);
    if (m_lines.isEmpty())
        m_lines = nameLines(m_model.appName, font, line.width());
    painter.setFont(font);
    painter.setPen(Theme::color(Theme::Color::Text));
    for (const QString& text : std::as_const(m_lines)) {
        painter.drawText(line, Qt::AlignCenter | Qt::TextSingleLine, text);
        line.translate(0, lineHeight);
    }
}
