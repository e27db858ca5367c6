#include "ToolGrid.h"

#include "QenToolCell.h"
#include "ToolNames.h"
#include "ToolPictures.h"

#include <QGridLayout>
#include <QHash>
#include <QKeyEvent>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

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
    connect(&m_pictures, &ToolPictures::found, this, qOverload<>(&QWidget::update));
}

void ToolGrid::setModels(const QList<QenToolModel>& models) {
    const qsizetype formerIndex = std::max<qsizetype>(currentIndex(), 0);
    const bool hadFocus = m_current && m_current->hasFocus();
    QMultiHash<QString, QenToolCell*> former;
    for (QenToolCell* cell : std::as_const(m_cells)) {
        former.insert(identity(cell->toolModel()), cell);
        m_layout->removeWidget(cell);
    }
    m_cells.clear();
    m_typed.clear();
    for (const QenToolModel& model : models) {
        QenToolCell* cell = former.take(identity(model));
        if (cell)
            cell->setToolModel(model);
        else
            cell = makeCell(model);
        const auto index = static_cast<int>(m_cells.size());
        cell->setTag(FirstTag + index);
        m_layout->addWidget(cell, index / TilesPerRow, index % TilesPerRow);
        m_cells.append(cell);
    }
    qDeleteAll(former);
    m_layout->activate();
    if (!m_current && !m_cells.isEmpty())
        setCurrent(m_cells[std::min(formerIndex, m_cells.size() - 1)]);
    if (hadFocus)
        takeFocus();
}

QenToolCell* ToolGrid::makeCell(const QenToolModel& model) {
    auto* cell = new QenToolCell(model, m_pictures, this);
    cell->setCompletion([this](QenToolCell* tile) { Q_EMIT pressed(tile->toolModel()); });
    cell->installEventFilter(this);
    cell->show();
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
    cell->setFocusPolicy(Qt::StrongFocus);
}

qsizetype ToolGrid::currentIndex() const {
    return m_cells.indexOf(m_current.data());
}

void ToolGrid::takeFocus() {
    moveTo(currentIndex());
}

bool ToolGrid::moveTo(qsizetype index) {
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
    switch (event.key()) {
    case Qt::Key_Left:
        return moveTo(here - 1);
    case Qt::Key_Right:
        return moveTo(here + 1);
    case Qt::Key_Up:
        return moveTo(here - TilesPerRow);
    case Qt::Key_Down:
        return moveTo(here + TilesPerRow);
    case Qt::Key_Home:
        return moveTo(0);
    case Qt::Key_End:
        return moveTo(m_cells.size() - 1);
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
    const qsizetype count = m_cells.size();
    // The first sign leads on from where one is; more of them make it clearer.
    const qsizetype from = currentIndex() + (m_typed.size() == 1 ? 1 : 0);
    for (const auto wanted : {ToolNames::Match::Beginning, ToolNames::Match::Within}) {
        for (qsizetype step = 0; step < count; ++step) {
            const qsizetype index = (from + step) % count;
            if (ToolNames::match(m_cells[index]->toolModel().appName, m_typed) >= wanted)
                return moveTo(index);
        }
    }
    return true;
}
