#include "ToolTileDelegate.h"

#include "Theme.h"

#include <QPainter>
#include <QTextLayout>

namespace {

constexpr int TileSide = 112;
constexpr int PictureSide = 48;
constexpr int NameLines = 2;

/// @p name cut into at most two lines of @p width, the last one with an ellipsis when more is left.
QStringList nameLines(const QString& name, const QFont& font, int width) {
    const QFontMetrics metrics(font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    QTextLayout layout(name.left(256), font);
    layout.setTextOption(option);
    layout.beginLayout();
    QStringList lines;
    while (lines.size() < NameLines) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(width);
        const bool isLast = lines.size() == NameLines - 1;
        lines.append(isLast ? metrics.elidedText(name.mid(line.textStart()), Qt::ElideRight, width)
                            : name.mid(line.textStart(), line.textLength()));
    }
    layout.endLayout();
    return lines;
}

} // namespace

QSize ToolTileDelegate::gridSize() {
    return {TileSide + Theme::Space12, TileSide + Theme::Space12};
}

QSize ToolTileDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
    return gridSize();
}

void ToolTileDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    // The gap lies at the right and below, so that the first column stands under the heading.
    const QRectF tile(option.rect.topLeft(), QSizeF(TileSide, TileSide));
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Theme::color(Theme::Color::Line));
    painter->setBrush(Theme::color(Theme::Color::Card));
    painter->drawRoundedRect(tile.adjusted(0.5, 0.5, -0.5, -0.5), Theme::CardRadius, Theme::CardRadius);

    const QRect picture(option.rect.x() + (TileSide - PictureSide) / 2, option.rect.y() + Theme::Space12, PictureSide,
                        PictureSide);
    index.data(Qt::DecorationRole).value<QIcon>().paint(painter, picture);

    const QFont font = Theme::font(Theme::TextSize::Note);
    painter->setFont(font);
    painter->setPen(Theme::color(Theme::Color::Text));
    const int lineHeight = QFontMetrics(font).height();
    QRect line(option.rect.x() + Theme::Space8, picture.bottom() + Theme::Space4, TileSide - 2 * Theme::Space8,
               lineHeight);
    for (const QString& text : nameLines(index.data().toString(), font, line.width())) {
        painter->drawText(line, Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine, text);
        line.translate(0, lineHeight);
    }
    painter->restore();
}
