#include "SpinnerButton.h"

#include "Theme.h"

#include <QHBoxLayout>
#include <QStyleOptionButton>
#include <QStylePainter>

SpinnerButton::SpinnerButton(QWidget* parent) : QPushButton(parent), m_spinner(new Spinner(Theme::IconSize, this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_spinner);
    m_spinner->hide();
}

void SpinnerButton::setBusy(bool busy) {
    if (busy == isBusy())
        return;
    setMinimumWidth(busy ? width() : 0);
    setAccessibleDescription(busy ? qtTrId("PleaseWait") : QString());
    if (busy)
        m_hadFocus = hasFocus();
    setEnabled(!busy);
    if (!busy && m_hadFocus && isVisible())
        setFocus();
    m_spinner->setVisible(busy);
    update();
}

void SpinnerButton::paintEvent(QPaintEvent*) {
    QStyleOptionButton option;
    initStyleOption(&option);
    if (isBusy()) {
        option.text.clear();
        option.icon = {};
    }
    QStylePainter(this).drawControl(QStyle::CE_PushButton, option);
}
