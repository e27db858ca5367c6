#include "QenToolsView.h"

#include "QenToolCell.h"
#include "Theme.h"
#include "ToolNames.h"

#include <QKeyEvent>
#include <QScrollBar>
#include <QShortcut>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace {

constexpr int EmptyPictureSize = 96;
enum Page { TilesPage = 0, EmptyPage = 1 };

} // namespace

QenToolsView::QenToolsView(QWidget* parent)
    : QStackedWidget(parent), m_pictures(QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)) {
    m_ui.setupUi(this);
    m_grid = new ToolGrid(m_pictures, *m_ui.toolSearch);
    m_ui.toolSearch->setPlaceholderText(qtTrId("SearchToolsHint"));
    m_ui.toolSearch->setAccessibleName(qtTrId("SearchTools"));
    m_ui.toolSearch->installEventFilter(this);
    m_ui.nothingFoundLab->setText(qtTrId("NoToolFound"));
    m_ui.toolsArea->setAccessibleName(qtTrId("OfficeTools"));
    m_ui.toolsArea->verticalScrollBar()->setSingleStep(QenToolCell::Side / 4);
    m_ui.toolsArea->viewport()->installEventFilter(this);
    m_grid->setObjectName(u"toolsGrid"_s);
    m_ui.toolsArea->setWidget(m_grid);
    Theme::setPicture(m_ui.emptyPicture, u"empty"_s, EmptyPictureSize);
    connect(m_grid, &ToolGrid::pressed, this, &QenToolsView::pressed);
    connect(m_grid, &ToolGrid::focusMoved, this, [this](QWidget* cell) { m_ui.toolsArea->ensureWidgetVisible(cell); });
    connect(m_ui.toolSearch, &QLineEdit::textChanged, this, &QenToolsView::showFound);
    connect(m_ui.toolSearch, &QLineEdit::returnPressed, m_grid, &ToolGrid::takeFocus);
    auto* find = new QShortcut(QKeySequence::Find, this);
    find->setContext(Qt::WidgetWithChildrenShortcut);
    connect(find, &QShortcut::activated, m_ui.toolSearch, qOverload<>(&QWidget::setFocus));
}

void QenToolsView::setModels(const QList<QenToolModel>& models) {
    if (models == m_models)
        return;
    m_models = models;
    const bool isSearched = m_models.size() >= FewestSearched;
    m_ui.toolSearch->setVisible(isSearched);
    if (!isSearched)
        m_ui.toolSearch->clear();
    setCurrentIndex(m_models.isEmpty() ? EmptyPage : TilesPage);
    showFound();
}

void QenToolsView::showFound() {
    const QString typed = m_ui.toolSearch->text().simplified();
    QList<QenToolModel> found = m_models;
    found.removeIf([&typed](const QenToolModel& tool) {
        return !typed.isEmpty() && ToolNames::match(tool.appName, typed) == ToolNames::Match::None;
    });
    m_ui.nothingFoundLab->setVisible(found.isEmpty() && !m_models.isEmpty());
    m_grid->setModels(found);
}

bool QenToolsView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_ui.toolsArea->viewport() && event->type() == QEvent::Resize)
        m_grid->setRoom(m_ui.toolsArea->viewport()->width());
    if (watched == m_ui.toolSearch && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Down)
            m_grid->takeFocus();
        if (key == Qt::Key_Escape && !m_ui.toolSearch->text().isEmpty()) {
            m_ui.toolSearch->clear();
            return true;
        }
    }
    return QStackedWidget::eventFilter(watched, event);
}
