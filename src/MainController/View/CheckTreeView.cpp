#include "CheckTreeView.h"

#include "CheckRowView.h"
#include "Theme.h"

#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

CheckTreeView::CheckTreeView(QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setNodes({});
}

void CheckTreeView::setNodes(const std::vector<QenRootModelPointer>& nodes) {
    auto* content = new QWidget;
    content->setObjectName(u"checkRows"_s);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_categories.clear();
    for (const QenRootModelPointer& node : nodes)
        m_categories.push_back(makeCategory(node, *layout));
    layout->addStretch(1);
    // The former rows go with their widget.
    setWidget(content);
}

CheckTreeView::Category CheckTreeView::makeCategory(const QenRootModelPointer& node, QVBoxLayout& into) {
    Category category{node, addRow(into.parentWidget()), {}};
    auto* checks = new QWidget(into.parentWidget());
    into.addWidget(category.row);
    into.addWidget(checks);
    auto* layout = new QVBoxLayout(checks);
    layout->setContentsMargins(Theme::Space32, 0, 0, 0);
    layout->setSpacing(0);
    for (size_t check = 0; check < node->leafArr().size(); ++check) {
        category.checkRows.push_back(addRow(checks));
        layout->addWidget(category.checkRows.back());
    }
    if (node->leafArr().empty()) {
        auto* note = new QLabel(qtTrId("NothingToCheck"));
        note->setObjectName(u"nothingToCheckLab"_s);
        note->setProperty("textRole", u"note"_s);
        layout->setContentsMargins(Theme::Space32 + Theme::Space8, Theme::Space16, Theme::Space16, Theme::Space16);
        layout->addWidget(note);
    }
    fill(category);
    category.row->setChecks(checks);
    category.row->setFolded(false);
    return category;
}

CheckRowView* CheckTreeView::addRow(QWidget* parent) {
    auto* row = new CheckRowView(parent);
    connect(row, &CheckRowView::repairWanted, this, &CheckTreeView::repairWanted);
    return row;
}

void CheckTreeView::fill(const Category& category) {
    category.row->show(*category.node);
    for (size_t check = 0; check < category.checkRows.size(); ++check)
        category.checkRows[check]->show(*category.node->leafArr()[check]);
}

void CheckTreeView::reloadRow(int row) {
    if (row >= 0 && row < static_cast<int>(m_categories.size()))
        fill(m_categories[static_cast<size_t>(row)]);
}

void CheckTreeView::reload() {
    for (const Category& category : m_categories)
        fill(category);
}

void CheckTreeView::endRunning() {
    using Outcome = QenCheckModel::Outcome;
    for (const Category& category : m_categories) {
        for (const QenCheckModelPointer& check : category.node->leafArr())
            check->setOutcome(check->outcome() == Outcome::Running ? Outcome::Unknown : check->outcome());
    }
    reload();
}

void CheckTreeView::expandAll() {
    for (const Category& category : m_categories)
        category.row->setFolded(false);
}
