#pragma once

#include <QStyledItemDelegate>

/// Draws one tool as a tile: its picture above its name, which takes at most two lines.
class ToolTileDelegate final : public QStyledItemDelegate {
    Q_OBJECT
public:
    /// A tile with the gap to the next one.
    static QSize gridSize();
    static constexpr int TilesPerRow = 6;

    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};
