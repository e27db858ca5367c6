#pragma once

#include "ToolGrid.h"
#include "ToolPictures.h"

#include <QStackedWidget>

#include <functional>

class QLabel;
class QLineEdit;
class QScrollArea;

/// The tools as tiles, or the empty picture. From FewestSearched tools on a field picks those whose name or pinyin
/// initials hold what is typed. Main thread.
class QenToolsView final : public QStackedWidget {
    Q_OBJECT
public:
    static constexpr int FewestSearched = 24;

    explicit QenToolsView(QWidget* parent = nullptr);

    /// Whose applications lend their icons.
    /// @param workspace  must outlive the view
    void setWorkspace(const Platform::Workspace& workspace) { m_pictures.setWorkspace(workspace); }
    void setModels(const QList<QenToolModel>& models);
    /// Called when a tile is pressed.
    void setCompletion(std::function<void(const QenToolModel&)> completion);
    const QList<QenToolCell*>& toolCells() const { return m_grid->toolCells(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* makeTilesPage();
    QWidget* makeEmptyPage();
    void showFound();

    ToolPictures m_pictures;
    QLineEdit* m_search;
    ToolGrid* m_grid;
    QScrollArea* m_area;
    QLabel* m_nothingFound;
    QList<QenToolModel> m_models;
    std::function<void(const QenToolModel&)> m_completion;
};
