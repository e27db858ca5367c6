#include "SpinnerButton.h"

#include "Theme.h"

#include <QKeyEvent>
#include <QStyleOptionButton>
#include <QStylePainter>

using namespace Qt::StringLiterals;

SpinnerButton::SpinnerButton(QWidget* parent) : QPushButton(parent), m_turn(this) {}

void SpinnerButton::setBusy(bool busy) {
    if (busy == m_busy)
        return;
    m_busy = busy;
    setMinimumWidth(busy ? width() : 0);
    setAccessibleDescription(busy ? qtTrId("PleaseWait") : QString());
    if (busy)
        m_hadFocus = hasFocus();
    setEnabled(!busy);
    if (!busy && m_hadFocus && isVisible())
        setFocus();
    m_turn.setOn(busy && isVisible());
    update();
}

void SpinnerButton::showEvent(QShowEvent* event) {
    QPushButton::showEvent(event);
    m_turn.setOn(m_busy);
}

void SpinnerButton::hideEvent(QHideEvent* event) {
    m_turn.setOn(false);
    QPushButton::hideEvent(event);
}

void SpinnerButton::keyPressEvent(QKeyEvent* event) {
    // Outside of dialogs a button answers to Space only; here Enter presses what has the focus.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QPushButton::keyPressEvent(event);
}

void SpinnerButton::paintEvent(QPaintEvent* event) {
    if (!m_busy) {
        QPushButton::paintEvent(event);
        return;
    }
    QStyleOptionButton option;
    initStyleOption(&option);
    option.text.clear();
    option.icon = {};
    QStylePainter painter(this);
    painter.drawControl(QStyle::CE_PushButton, option);

    const QColor tint = Theme::color(property("kind") == u"primary"_s ? Theme::Color::Card : Theme::Color::Brand);
    m_turn.paint(painter, QRectF(rect()).center(), Theme::IconSize, tint);
}
