#include "QenToolCell.h"

#include "Theme.h"
#include "ToolPictures.h"
#include "WrappableText.h"

#include <QHelpEvent>
#include <QPainter>
#include <QTextLayout>
#include <QToolTip>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int NameLines = 2;
constexpr int LongestDrawnName = 256;
constexpr int ShadowSteps = 3;

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
        const QString text = drawn.mid(line.textStart(), isLast ? -1 : line.textLength()).trimmed();
        lines.append(isLast ? metrics.elidedText(text, Qt::ElideRight, width) : text);
    }
    layout.endLayout();
    return lines;
}

} // namespace

QenToolCell::QenToolCell(QenToolModel model, ToolPictures& pictures, QWidget* parent)
    : QAbstractButton(parent), m_pictures(pictures) {
    setAttribute(Qt::WA_Hover);
    setFixedSize(Side, Theme::roomFor(Side, 2));
    setFocusPolicy(Qt::ClickFocus);
    setCursor(Qt::PointingHandCursor);
    connect(this, &QAbstractButton::clicked, this, &QenToolCell::toolButtonAction);
    setToolModel(model);
}

void QenToolCell::setToolModel(const QenToolModel& model) {
    m_model = model;
    m_lines.clear();
    setAccessibleName(m_model.appName.left(LongestDrawnName));
    update();
}

void QenToolCell::setCompletion(std::function<void(QenToolCell*)> completion) {
    m_completion = std::move(completion);
}

void QenToolCell::toolButtonAction() {
    if (m_completion)
        m_completion(this);
}

bool QenToolCell::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QAbstractButton::event(event);
    const bool isCut = m_lines.join(QString()).remove(u' ') != QString(m_model.appName).remove(u' ');
    QToolTip::showText(
        static_cast<QHelpEvent*>(event)->globalPos(), isCut ? toolTipText(m_model.appName) : QString(), this);
    return true;
}

void QenToolCell::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintTile(painter);
    paintPicture(painter);
    paintName(painter);
}

void QenToolCell::paintTile(QPainter& painter) const {
    // Room below for the shadow on which it lifts.
    const QRectF tile = QRectF(rect()).adjusted(1.5, 1.5, -1.5, -ShadowSteps - 0.5);
    const bool isHovered = underMouse();
    if (isHovered) {
        painter.setPen(Qt::NoPen);
        for (int step = ShadowSteps; step > 0; --step) {
            QColor shade = Theme::color(Theme::Color::Text);
            shade.setAlpha(8);
            painter.setBrush(shade);
            painter.drawRoundedRect(tile.adjusted(-0.5, 1, 0.5, step), Theme::CardRadius, Theme::CardRadius);
        }
    }
    painter.setPen(Theme::color(isHovered ? Theme::Color::Brand : Theme::Color::Line));
    painter.setBrush(Theme::color(isDown() ? Theme::Color::BrandTint : Theme::Color::Card));
    painter.drawRoundedRect(tile, Theme::CardRadius, Theme::CardRadius);
}

void QenToolCell::paintPicture(QPainter& painter) const {
    auto picture = m_pictures.picture(m_model, devicePixelRatioF());
    // While it is looked for its place stays free.
    if (!picture)
        return;
    if (picture->isNull())
        picture = initialPicture(m_model.appName, devicePixelRatioF());
    const QSizeF size = picture->deviceIndependentSize();
    const QPointF middle(width() / 2.0, Theme::Space12 + ToolPictures::Side / 2.0);
    painter.drawPixmap(middle - QPointF(size.width(), size.height()) / 2, *picture);
}

void QenToolCell::paintName(QPainter& painter) {
    const QFont font = Theme::font(Theme::TextSize::Note);
    const int lineHeight = QFontMetrics(font).height();
    QRect line(Theme::Space8, Theme::Space16 + ToolPictures::Side, width() - 2 * Theme::Space8, lineHeight);
    if (m_lines.isEmpty())
        m_lines = nameLines(m_model.appName, font, line.width());
    painter.setFont(font);
    painter.setPen(Theme::color(Theme::Color::Text));
    for (const QString& text : std::as_const(m_lines)) {
        painter.drawText(line, Qt::AlignCenter | Qt::TextSingleLine, text);
        line.translate(0, lineHeight);
    }
}
