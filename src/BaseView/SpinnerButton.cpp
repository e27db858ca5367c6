#include "SpinnerButton.h"

#include "Theme.h"

#include <QKeyEvent>
#include <QStyleOptionButton>
#include <QStylePainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int TurnMilliseconds = 40;
constexpr int TurnDegrees = 18;
constexpr int FullTurn = 360;

} // namespace

SpinnerButton::SpinnerButton(QWidget* parent) : QPushButton(parent) {
    m_turn.setInterval(TurnMilliseconds);
    connect(&m_turn, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + TurnDegrees) % FullTurn;
        update();
    });
}

void SpinnerButton::setBusy(bool busy) {
    if (busy == m_busy)
        return;
    m_busy = busy;
    setMinimumWidth(busy ? width() : 0);
    setAccessibleDescription(busy ? u"请稍候"_s : QString());
    if (busy)
        m_hadFocus = hasFocus();
    setEnabled(!busy);
    if (!busy && m_hadFocus)
        setFocus();
    if (busy && isVisible())
        m_turn.start();
    else
        m_turn.stop();
    update();
}

void SpinnerButton::showEvent(QShowEvent* event) {
    QPushButton::showEvent(event);
    if (m_busy)
        m_turn.start();
}

void SpinnerButton::hideEvent(QHideEvent* event) {
    m_turn.stop();
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

    const QSize size(Theme::IconSize, Theme::IconSize);
    const QColor tint = Theme::color(property("kind") == u"primary"_s ? Theme::Color::Card : Theme::Color::Brand);
    const QPixmap spinner = Theme::picture(u"spinner"_s, size, devicePixelRatioF(), tint);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(QRectF(rect()).center());
    painter.rotate(m_angle);
    painter.drawPixmap(QPointF(-size.width() / 2.0, -size.height() / 2.0), spinner);
}
