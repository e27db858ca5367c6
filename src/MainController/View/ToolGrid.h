#pragma once

#include "QenToolModel.h"
#include "Theme.h"

#include <QElapsedTimer>
#include <QMultiMap>
#include <QPointer>
#include <QTimer>
#include <QWidget>

class QGridLayout;
class QenToolCell;
class ToolPictures;

/// The tiles, six to a row, in one place of the Tab order: arrows, Home and End move within it, and typing the
/// beginning of a name or its pinyin initials finds a tool. A tool keeps its tile, with the focus and a press that has
/// begun, when the list changes.
///
/// Tiles are placed a few at a time, so that a long list holds nobody up; those of the first rows are there at once.
/// Main thread.
class ToolGrid final : public QWidget {
    Q_OBJECT
public:
    static constexpr int TilesPerRow = 6;
    /// The tag of the first tile.
    static constexpr int FirstTag = 100;
    /// Around the tiles, for the focus ring.
    static constexpr int Edge = Theme::FocusRingGap + Theme::FocusRingWidth;

    /// @param pictures  must outlive the tiles
    /// @param before  of the same window; the tiles come behind it in the Tab order
    ToolGrid(ToolPictures& pictures, QWidget& before);

    void setModels(const QList<QenToolModel>& models);
    /// Spreads the rows over a width.
    void setRoom(int width);
    /// Those that are there by now.
    const QList<QenToolCell*>& toolCells() const { return m_cells; }
    /// Gives the keyboard to the tile that had it last.
    void takeFocus();

Q_SIGNALS:
    void pressed(const QenToolModel& tool);
    void focusMoved(QWidget* cell);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void work();
    void placeNext();
    /// Places tiles until the one of this index is there, if there is such a tool.
    void placeUpTo(qsizetype index);
    QenToolCell* makeCell(const QenToolModel& model);
    void setCurrent(QenToolCell* cell);
    qsizetype currentIndex() const;
    bool moveTo(qsizetype index);
    bool handleKey(const QKeyEvent& event);
    bool findTyped(const QString& text);

    ToolPictures& m_pictures;
    QWidget& m_before;
    QGridLayout* m_layout;
    QList<QenToolModel> m_models;
    QList<QenToolCell*> m_cells;
    /// Tiles of the former list that have no place yet, by their tools.
    QMultiMap<QString, QenToolCell*> m_former;
    QTimer m_later;
    /// The one that the Tab key reaches.
    QPointer<QenToolCell> m_current;
    QString m_typed;
    QElapsedTimer m_typing;
};
