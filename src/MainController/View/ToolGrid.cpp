#include "ToolGrid.h"

#include "QenToolCell.h"
#include "ToolNames.h"
#include "ToolPictures.h"

#include <QKeyEvent>

#include <algorithm>

namespace {

constexpr int LeastGap = Theme::Space8;
constexpr int LargestGap = Theme::Space32;
/// What a window shows of a list without scrolling.
constexpr qsizetype FirstTiles = 30;
/// Leaves the rest of a frame to whatever else it needs.
constexpr int WorkMilliseconds = 3;
/// After that pause typing begins a new word.
constexpr int TypingMilliseconds = 1000;

bool isSameTool(const QenToolModel& one, const QenToolModel& other) {
    return one.appName == other.appName && one.procName == other.procName && one.desUrl == other.desUrl;
}

} // namespace

ToolGrid::ToolGrid(ToolPictures& pictures, QWidget& before) : m_pictures(pictures), m_before(before) {
    connect(&m_pictures, &ToolPictures::found, this, qOverload<>(&QWidget::update));
    connect(&m_later, &QTimer::timeout, this, &ToolGrid::work);
    setRoom(0);
}

void ToolGrid::setModels(const QList<QenToolModel>& models) {
    const QenToolModel former = m_models.value(m_current);
    const bool hadFocus = m_current < m_cells.size() && m_cells[m_current]->hasFocus();
    m_models = models;
    m_typed.clear();
    while (m_cells.size() > m_models.size()) {
        m_spare.append(m_cells.takeLast());
        // The others are below the last row and out of sight.
        if (m_cells.size() < m_models.size() + TilesPerRow)
            m_spare.last()->hide();
    }
    for (qsizetype index = 0; index < m_cells.size(); ++index)
        m_cells[index]->setToolModel(m_models[index]);
    fitRows();
    while (m_cells.size() < std::min(m_models.size(), FirstTiles))
        workOne();
    m_later.start(0);
    const auto same = std::find_if(
        m_models.cbegin(), m_models.cend(), [&former](const QenToolModel& model) { return isSameTool(model, former); });
    const qsizetype last = std::max<qsizetype>(m_models.size() - 1, 0);
    const qsizetype place = same == m_models.cend() ? m_current : same - m_models.cbegin();
    setCurrent(static_cast<int>(std::min(place, last)));
    if (hadFocus)
        takeFocus();
}

void ToolGrid::work() {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < WorkMilliseconds) {
        if (!workOne()) {
            m_later.stop();
            return;
        }
    }
    m_later.start(0);
}

bool ToolGrid::workOne() {
    const auto index = static_cast<int>(m_cells.size());
    if (index == m_models.size()) {
        if (!m_spare.isEmpty())
            delete m_spare.takeFirst();
        return !m_spare.isEmpty();
    }
    if (!m_spare.isEmpty()) {
        m_cells.append(m_spare.takeLast());
        m_cells.last()->setToolModel(m_models[index]);
        m_cells.last()->show();
        return true;
    }
    auto* cell = new QenToolCell(m_models[index], m_pictures, this);
    m_cells.append(cell);
    cell->setTag(FirstTag + index);
    cell->installEventFilter(this);
    cell->setCompletion([this](QenToolCell* tile) { Q_EMIT pressed(tile->toolModel()); });
    if (index == m_current)
        cell->setFocusPolicy(Qt::StrongFocus);
    setTabOrder(index == 0 ? &m_before : m_cells[index - 1], cell);
    place(index);
    cell->show();
    return true;
}

void ToolGrid::setRoom(int width) {
    const int free = width - TilesPerRow * QenToolCell::Side - 2 * Edge;
    const int step = QenToolCell::Side + std::clamp(free / (TilesPerRow - 1), LeastGap, LargestGap);
    if (step == m_step)
        return;
    m_step = step;
    for (int index = 0; index < m_cells.size(); ++index)
        place(index);
    fitRows();
}

void ToolGrid::place(int index) {
    m_cells[index]->setGeometry(
        Edge + index % TilesPerRow * m_step, Edge + index / TilesPerRow * m_step, QenToolCell::Side, QenToolCell::Side);
}

void ToolGrid::fitRows() {
    const auto rows = (static_cast<int>(m_models.size()) + TilesPerRow - 1) / TilesPerRow;
    const int gap = m_step - QenToolCell::Side;
    resize(TilesPerRow * m_step - gap + 2 * Edge, rows * m_step - gap + 2 * Edge);
}

void ToolGrid::setCurrent(int index) {
    if (m_current < m_cells.size())
        m_cells[m_current]->setFocusPolicy(Qt::ClickFocus);
    m_current = index;
    if (m_current < m_cells.size())
        m_cells[m_current]->setFocusPolicy(Qt::StrongFocus);
}

void ToolGrid::takeFocus() {
    moveTo(m_current);
}

void ToolGrid::moveTo(int index) {
    if (index < 0 || index >= m_models.size())
        return;
    while (index >= m_cells.size())
        workOne();
    m_cells[index]->setFocus(Qt::OtherFocusReason);
}

bool ToolGrid::eventFilter(QObject* watched, QEvent* event) {
    auto* cell = qobject_cast<QenToolCell*>(watched);
    if (cell && event->type() == QEvent::FocusIn) {
        setCurrent(cell->tag() - FirstTag);
        Q_EMIT focusMoved(cell);
    }
    if (cell && event->type() == QEvent::KeyPress && handleKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return QWidget::eventFilter(watched, event);
}

bool ToolGrid::handleKey(const QKeyEvent& event) {
    switch (event.key()) {
    case Qt::Key_Left:
        moveTo(m_current - 1);
        return true;
    case Qt::Key_Right:
        moveTo(m_current + 1);
        return true;
    case Qt::Key_Up:
        moveTo(m_current - TilesPerRow);
        return true;
    case Qt::Key_Down:
        moveTo(m_current + TilesPerRow);
        return true;
    case Qt::Key_Home:
        moveTo(0);
        return true;
    case Qt::Key_End:
        moveTo(static_cast<int>(m_models.size()) - 1);
        return true;
    default:
        return !(event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) &&
            findTyped(event.text());
    }
}

bool ToolGrid::findTyped(const QString& text) {
    if (text.isEmpty() || !text[0].isPrint() || text[0].isSpace())
        return false;
    if (!m_typing.isValid() || m_typing.elapsed() > TypingMilliseconds)
        m_typed.clear();
    m_typing.start();
    m_typed += text;
    const auto count = static_cast<int>(m_models.size());
    // The first sign leads on from where one is; more of them make it clearer.
    const int from = m_current + (m_typed.size() == 1 ? 1 : 0);
    for (const auto wanted : {ToolNames::Match::Beginning, ToolNames::Match::Within}) {
        for (int step = 0; step < count; ++step) {
            const int index = (from + step) % count;
            if (ToolNames::match(m_models[index].appName, m_typed) >= wanted) {
                moveTo(index);
                return true;
            }
        }
    }
    return true;
}
