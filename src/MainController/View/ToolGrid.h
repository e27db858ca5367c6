#pragma once

#include "QenToolModel.h"
#include "Theme.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

class QenToolCell;
class ToolPictures;

/// The tiles, six to a row, in one place of the Tab order: arrows, Home and End move within it, and typing the
/// beginning of a name or its pinyin initials finds a tool.
///
/// Tiles are made and removed a few at a time, so that a long list holds nobody up; those of the first rows are there
/// at once, and a tile that is there takes over another tool. Main thread.
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

    /// Who has the focus on a tool keeps it there, if the tool is still in the list.
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
    bool workOne();
    void place(int index);
    void fitRows();
    void setCurrent(int index);
    void moveTo(int index);
    bool handleKey(const QKeyEvent& event);
    bool findTyped(const QString& text);

    ToolPictures& m_pictures;
    QWidget& m_before;
    QList<QenToolModel> m_models;
    QList<QenToolCell*> m_cells;
    /// Of a former, longer list, the last one first: the places behind the tiles.
    QList<QenToolCell*> m_spare;
    QTimer m_later;
    int m_step = 0;
    int m_current = 0;
    QString m_typed;
    QElapsedTimer m_typing;
};
