#pragma once

#include "QenRootModel.h"

#include <QScrollArea>

#include <vector>

class CheckRowView;
class QVBoxLayout;

/// The categories and their checks as rows that can be folded. Main thread.
///
/// Made of widgets, not of the cells of an item view: people who hear the screen get at its buttons, too.
class CheckTreeView final : public QScrollArea {
    Q_OBJECT
public:
    explicit CheckTreeView(QWidget* parent = nullptr);

    /// Shows another tree, unfolded.
    void setNodes(const std::vector<QenRootModelPointer>& nodes);
    /// Shows a category and its checks as they are by now.
    void reloadRow(int row);
    /// Shows all of them as they are by now.
    void reload();
    /// What has no result will not get one any more.
    void endRunning();
    void expandAll();

Q_SIGNALS:
    /// @param keyword  the help topic
    void repairWanted(const QString& keyword);

private:
    struct Category {
        QenRootModelPointer node;
        CheckRowView* row = nullptr;
        std::vector<CheckRowView*> checkRows;
    };

    Category makeCategory(const QenRootModelPointer& node, QVBoxLayout& into);
    CheckRowView* addRow(QWidget* parent);
    static void fill(const Category& category);

    std::vector<Category> m_categories;
};
