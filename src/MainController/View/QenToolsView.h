#pragma once

#include "QenToolModel.h"

#include <QStackedWidget>

#include <functional>

class QScrollArea;
class QenToolCell;

/// The tools as tiles, six to a row, or the empty picture. Main thread.
class QenToolsView final : public QStackedWidget {
    Q_OBJECT
public:
    static constexpr int TilesPerRow = 6;
    /// The tag of the first tile.
    static constexpr int FirstTag = 100;

    explicit QenToolsView(QWidget* parent = nullptr);

    /// Makes the tiles anew, unless the list is the one that is shown.
    void setModels(const QList<QenToolModel>& models);
    /// Called when a tile is pressed.
    void setCompletion(std::function<void(const QenToolModel&)> completion);
    const QList<QenToolCell*>& toolCells() const { return m_toolCells; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* makeEmptyPage();
    void makeCells();
    void layOut();
    void moveFocus(int from, int steps);

    QScrollArea* m_area;
    QWidget* m_grid;
    QList<QenToolModel> m_models;
    QList<QenToolCell*> m_toolCells;
    std::function<void(const QenToolModel&)> m_completion;
};
