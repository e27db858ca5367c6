#pragma once

#include "ToolGrid.h"
#include "ToolPictures.h"
#include "ui_QenToolsView.h"

#include <QStackedWidget>

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
    const QList<QenToolCell*>& toolCells() const { return m_grid->toolCells(); }

Q_SIGNALS:
    void pressed(const QenToolModel& tool);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showFound();

    Ui::QenToolsView m_ui;
    ToolPictures m_pictures;
    ToolGrid* m_grid = nullptr;
    QList<QenToolModel> m_models;
};
