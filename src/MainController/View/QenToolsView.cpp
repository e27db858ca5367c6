#include "QenToolsView.h"

#include "QenToolCell.h"
#include "Theme.h"
#include "ToolNames.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QStandardPaths>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int EmptyPictureSize = 96;
constexpr int SearchWidth = 280;
constexpr int LongestSearch = 64;
enum Page { TilesPage = 0, EmptyPage = 1 };

} // namespace

QenToolsView::QenToolsView(QWidget* parent)
    : QStackedWidget(parent), m_pictures(QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)),
      m_search(new QLineEdit), m_grid(new ToolGrid(m_pictures, *m_search)), m_area(new QScrollArea),
      m_nothingFound(new QLabel) {
    addWidget(makeTilesPage());
    addWidget(makeEmptyPage());
    setCurrentIndex(EmptyPage);
    connect(m_grid, &ToolGrid::pressed, this, [this](const QenToolModel& tool) {
        if (m_completion)
            m_completion(tool);
    });
    connect(m_grid, &ToolGrid::focusMoved, m_area, [this](QWidget* cell) { m_area->ensureWidgetVisible(cell); });
    connect(m_search, &QLineEdit::textChanged, this, &QenToolsView::showFound);
    connect(m_search, &QLineEdit::returnPressed, m_grid, &ToolGrid::takeFocus);
    auto* find = new QShortcut(QKeySequence::Find, this);
    find->setContext(Qt::WidgetWithChildrenShortcut);
    connect(find, &QShortcut::activated, m_search, qOverload<>(&QWidget::setFocus));
}

QWidget* QenToolsView::makeTilesPage() {
    m_search->setObjectName(u"toolSearch"_s);
    m_search->setPlaceholderText(qtTrId("SearchToolsHint"));
    m_search->setAccessibleName(qtTrId("SearchTools"));
    m_search->setMaxLength(LongestSearch);
    m_search->setMaximumWidth(SearchWidth);
    m_search->setClearButtonEnabled(true);
    m_search->installEventFilter(this);
    m_search->hide();
    m_nothingFound->setObjectName(u"nothingFoundLab"_s);
    m_nothingFound->setText(qtTrId("NoToolFound"));
    m_nothingFound->setProperty("textRole", u"second"_s);
    m_nothingFound->hide();
    m_area->setObjectName(u"toolsArea"_s);
    m_area->setAccessibleName(qtTrId("OfficeTools"));
    m_grid->setObjectName(u"toolsGrid"_s);
    m_area->setFrameShape(QFrame::NoFrame);
    m_area->setFocusPolicy(Qt::NoFocus);
    m_area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_area->verticalScrollBar()->setSingleStep(QenToolCell::Side / 4);
    m_area->viewport()->installEventFilter(this);
    m_area->setWidget(m_grid);
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::Space12);
    auto* head = new QVBoxLayout;
    head->setContentsMargins(ToolGrid::Edge, ToolGrid::Edge, ToolGrid::Edge, 0);
    head->addWidget(m_search);
    head->addWidget(m_nothingFound);
    layout->addLayout(head);
    layout->addWidget(m_area, 1);
    return page;
}

QWidget* QenToolsView::makeEmptyPage() {
    auto* page = new QWidget;
    auto* picture = new QLabel(page);
    picture->setPixmap(Theme::picture(u"empty"_s, {EmptyPictureSize, EmptyPictureSize}, devicePixelRatioF()));
    auto* text = new QLabel(u"当前用户暂无办公工具清单，请等待管理员配置！"_s, page);
    text->setObjectName(u"emptyLab"_s);
    text->setProperty("textRole", u"second"_s);
    auto* layout = new QVBoxLayout(page);
    layout->setSpacing(Theme::Space12);
    layout->addStretch(3);
    layout->addWidget(picture, 0, Qt::AlignHCenter);
    layout->addWidget(text, 0, Qt::AlignHCenter);
    layout->addStretch(4);
    return page;
}

void QenToolsView::setCompletion(std::function<void(const QenToolModel&)> completion) {
    m_completion = std::move(completion);
}

void QenToolsView::setModels(const QList<QenToolModel>& models) {
    if (models == m_models)
        return;
    m_models = models;
    const bool isSearched = m_models.size() >= FewestSearched;
    m_search->setVisible(isSearched);
    if (!isSearched)
        m_search->clear();
    setCurrentIndex(m_models.isEmpty() ? EmptyPage : TilesPage);
    showFound();
}

void QenToolsView::showFound() {
    const QString typed = m_search->text().simplified();
    QList<QenToolModel> found = m_models;
    found.removeIf([&typed](const QenToolModel& tool) {
        return !typed.isEmpty() && ToolNames::match(tool.appName, typed) == ToolNames::Match::None;
    });
    m_nothingFound->setVisible(found.isEmpty() && !m_models.isEmpty());
    m_grid->setModels(found);
}

bool QenToolsView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_area->viewport() && event->type() == QEvent::Resize)
        m_grid->setRoom(m_area->viewport()->width());
    if (watched == m_search && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Down)
            m_grid->takeFocus();
        if (key == Qt::Key_Escape && !m_search->text().isEmpty()) {
            m_search->clear();
            return true;
        }
    }
    return QStackedWidget::eventFilter(watched, event);
}
