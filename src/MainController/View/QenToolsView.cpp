#include "QenToolsView.h"

#include "QenToolCell.h"
#include "Theme.h"

#include <QKeyEvent>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int LeastGap = Theme::Space12;
constexpr int LargestGap = Theme::Space32;
/// Around the tiles, for the focus ring.
constexpr int Edge = Theme::FocusRingGap + Theme::FocusRingWidth;
constexpr int EmptyPictureSize = 96;
enum Page { TilesPage = 0, EmptyPage = 1 };

} // namespace

QenToolsView::QenToolsView(QWidget* parent)
    : QStackedWidget(parent), m_area(new QScrollArea(this)), m_grid(new QWidget) {
    m_area->setObjectName(u"toolsArea"_s);
    m_area->setAccessibleName(u"办公工具"_s);
    m_grid->setObjectName(u"toolsGrid"_s);
    m_area->setFrameShape(QFrame::NoFrame);
    m_area->setFocusPolicy(Qt::NoFocus);
    m_area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_area->verticalScrollBar()->setSingleStep(QenToolCell::Side / 4);
    m_area->viewport()->installEventFilter(this);
    m_area->setWidget(m_grid);
    addWidget(m_area);
    addWidget(makeEmptyPage());
    setCurrentIndex(EmptyPage);
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
    qDeleteAll(std::exchange(m_toolCells, {}));
    makeCells();
    setCurrentIndex(m_models.isEmpty() ? EmptyPage : TilesPage);
}

void QenToolsView::makeCells() {
    m_toolCells.reserve(m_models.size());
    for (const QenToolModel& model : std::as_const(m_models)) {
        auto* cell = new QenToolCell(model, m_grid);
        cell->setTag(FirstTag + static_cast<int>(m_toolCells.size()));
        cell->installEventFilter(this);
        cell->setCompletion([this](QenToolCell* pressed) {
            if (m_completion)
                m_completion(pressed->toolModel());
        });
        cell->show();
        m_toolCells.append(cell);
    }
    layOut();
}

void QenToolsView::layOut() {
    const int free = m_area->viewport()->width() - TilesPerRow * QenToolCell::Side - 2 * Edge;
    const int gap = std::clamp(free / (TilesPerRow - 1), LeastGap, LargestGap);
    const int step = QenToolCell::Side + gap;
    const auto count = static_cast<int>(m_toolCells.size());
    for (int index = 0; index < count; ++index)
        m_toolCells[index]->setGeometry(
            Edge + index % TilesPerRow * step, Edge + index / TilesPerRow * step, QenToolCell::Side, QenToolCell::Side);
    const int rows = (count + TilesPerRow - 1) / TilesPerRow;
    m_grid->resize(TilesPerRow * step - gap + 2 * Edge, rows * step - gap + 2 * Edge);
}

bool QenToolsView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_area->viewport() && event->type() == QEvent::Resize)
        layOut();
    auto* cell = qobject_cast<QenToolCell*>(watched);
    if (cell && event->type() == QEvent::FocusIn)
        m_area->ensureWidgetVisible(cell);
    if (cell && event->type() == QEvent::KeyPress) {
        const int index = cell->tag() - FirstTag;
        switch (static_cast<QKeyEvent*>(event)->key()) {
        case Qt::Key_Left:
            moveFocus(index, -1);
            return true;
        case Qt::Key_Right:
            moveFocus(index, 1);
            return true;
        case Qt::Key_Up:
            moveFocus(index, -TilesPerRow);
            return true;
        case Qt::Key_Down:
            moveFocus(index, TilesPerRow);
            return true;
        default:
            break;
        }
    }
    return QStackedWidget::eventFilter(watched, event);
}

void QenToolsView::moveFocus(int from, int steps) {
    if (QenToolCell* cell = m_toolCells.value(from + steps))
        cell->setFocus(Qt::OtherFocusReason);
}
