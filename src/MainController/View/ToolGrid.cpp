#include "ToolGrid.h"

#include "QenToolCell.h"
#include "ToolNames.h"
#include "ToolPictures.h"

#include <QGridLayout>
#include <QKeyEvent>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/// What a window shows of a list without scrolling.
constexpr qsizetype FirstTiles = 30;
/// Leaves the rest of a frame to whatever else it needs.
constexpr int WorkMilliseconds = 3;
/// After that pause typing begins a new word.
constexpr int TypingMilliseconds = 1000;

/// What makes a tool of the new list the same as one of the old.
QString identity(const QenToolModel& tool) {
    return QStringList{tool.appName, tool.procName, tool.desUrl}.join(u'\n');
}

} // namespace

ToolGrid::ToolGrid(ToolPictures& pictures, QWidget& before)
    : m_pictures(pictures), m_before(before), m_layout(new QGridLayout(this)) {
    m_layout->setContentsMargins(Edge, Edge, Edge, Edge);
    m_layout->setSizeConstraint(QLayout::SetFixedSize);
    connect(&m_later, &QTimer::timeout, this, &ToolGrid::work);
    connect(&m_pictures, &ToolPictures::found, this, qOverload<>(&QWidget::update));
}

void ToolGrid::setModels(const QList<QenToolModel>& models) {
    const qsizetype formerIndex = std::max<qsizetype>(currentIndex(), 0);
    const bool hadFocus = m_current && m_current->hasFocus();
    const QString current = m_current ? identity(m_current->toolModel()) : QString();
    for (QenToolCell* cell : std::as_const(m_cells))
        m_former.insert(identity(cell->toolModel()), cell);
    while (const QLayoutItem* item = m_layout->takeAt(0))
        delete item;
    m_cells.clear();
    m_typed.clear();
    m_models = models;
    placeUpTo(FirstTiles - 1);
    const auto same = std::find_if(
        models.begin(), models.end(), [&current](const QenToolModel& model) { return identity(model) == current; });
    if (same != models.end())
        placeUpTo(same - models.begin());
    const qsizetype nearest = std::min(formerIndex, models.size() - 1);
    placeUpTo(nearest);
    if (currentIndex() < 0)
        setCurrent(m_cells.value(nearest));
    for (QenToolCell* cell : std::as_const(m_former))
        cell->hide();
    m_layout->activate();
    if (hadFocus)
        takeFocus();
    m_later.start(0);
}

void ToolGrid::placeUpTo(qsizetype index) {
    while (m_cells.size() <= index && m_cells.size() < m_models.size())
        placeNext();
}

void ToolGrid::placeNext() {
    const auto index = static_cast<int>(m_cells.size());
    const QenToolModel& model = m_models[index];
    QenToolCell* cell = m_former.take(identity(model));
    if (cell)
        cell->setToolModel(model);
    else
        cell = makeCell(model);
    cell->setTag(FirstTag + index);
    cell->show();
    m_layout->addWidget(cell, index / TilesPerRow, index % TilesPerRow);
    m_cells.append(cell);
}

void ToolGrid::work() {
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < WorkMilliseconds) {
        if (m_cells.size() < m_models.size()) {
            placeNext();
        } else if (!m_former.isEmpty()) {
            delete m_former.take(m_former.firstKey());
        } else {
            m_later.stop();
            break;
        }
    }
    m_layout->activate();
}

QenToolCell* ToolGrid::makeCell(const QenToolModel& model) {
    auto* cell = new QenToolCell(model, m_pictures, this);
    cell->setCompletion([this](QenToolCell* tile) { Q_EMIT pressed(tile->toolModel()); });
    cell->installEventFilter(this);
    setTabOrder(&m_before, cell);
    return cell;
}

void ToolGrid::setRoom(int width) {
    const int free = width - TilesPerRow * QenToolCell::Side - 2 * Edge;
    m_layout->setSpacing(std::clamp(free / (TilesPerRow - 1), Theme::Space8, Theme::Space32));
    m_layout->activate();
}

void ToolGrid::setCurrent(QenToolCell* cell) {
    if (m_current)
        m_current->setFocusPolicy(Qt::ClickFocus);
    m_current = cell;
    if (m_current)
        m_current->setFocusPolicy(Qt::StrongFocus);
}

qsizetype ToolGrid::currentIndex() const {
    return m_cells.indexOf(m_current.data());
}

void ToolGrid::takeFocus() {
    moveTo(currentIndex());
}

bool ToolGrid::moveTo(qsizetype index) {
    placeUpTo(index);
    if (index >= 0 && index < m_cells.size())
        m_cells[index]->setFocus(Qt::OtherFocusReason);
    return true;
}

bool ToolGrid::eventFilter(QObject* watched, QEvent* event) {
    auto* cell = qobject_cast<QenToolCell*>(watched);
    if (cell && event->type() == QEvent::FocusIn) {
        setCurrent(cell);
        Q_EMIT focusMoved(cell);
    }
    if (cell && event->type() == QEvent::KeyPress && handleKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return QWidget::eventFilter(watched, event);
}

bool ToolGrid::handleKey(const QKeyEvent& event) {
    const qsizetype here = currentIndex();
    const std::pair<int, qsizetype> moves[] = {{Qt::Key_Left, here - 1}, {Qt::Key_Right, here + 1},
        {Qt::Key_Up, here - TilesPerRow}, {Qt::Key_Down, here + TilesPerRow}, {Qt::Key_Home, 0},
        {Qt::Key_End, m_models.size() - 1}};
    for (const auto& [key, to] : moves) {
        if (event.key() == key)
            return moveTo(to);
    }
    return !(event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) && findTyped(event.text());
}

bool ToolGrid::findTyped(const QString& text) {
    if (text.isEmpty() || !text[0].isPrint() || text[0].isSpace())
        return false;
    if (!m_typing.isValid() || m_typing.elapsed() > TypingMilliseconds)
        m_typed.clear();
    m_typing.start();
    m_typed += text;
    const qsizetype count = m_models.size();
    // The first sign leads on from where one is; more of them make it clearer.
    const qsizetype from = currentIndex() + (m_typed.size() == 1 ? 1 : 0);
    for (const auto wanted : {ToolNames::Match::Beginning, ToolNames::Match::Within}) {
        for (qsizetype step = 0; step < count; ++step) {
            const qsizetype index = (from + step) % count;
            if (ToolNames::match(m_models[index].appName, m_typed) >= wanted)
                return moveTo(index);
        }
    }
    return true;
}
