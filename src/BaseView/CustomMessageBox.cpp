#include "CustomMessageBox.h"

#include "BaseWindowController.h"
#include "Theme.h"
#include "WrappableText.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QScreen>
#include <QScrollBar>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestMessage = 8000;
/// What a screen reader says at once.
constexpr qsizetype LongestDescription = 400;
/// Of the screen's height; the rest is for the desktop's bars.
constexpr int LargestPercent = 80;

void giveTitle(QPushButton* button, const QString& title) {
    button->setText(title);
    button->setAccessibleName(title);
    button->setVisible(!title.isEmpty());
}

} // namespace

CustomMessageBox::CustomMessageBox(QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint) {
    m_ui.setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    setFixedWidth(Theme::BoxWidth);
    connect(m_ui.firstButton, &QPushButton::clicked, this, [this] { done(1); });
    connect(m_ui.secondButton, &QPushButton::clicked, this, [this] { done(2); });
}

QList<CustomMessageBox*> CustomMessageBox::shown() {
    QList<CustomMessageBox*> boxes;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<CustomMessageBox*>(window);
        if (box && box->isVisible())
            boxes << box;
    }
    return boxes;
}

void CustomMessageBox::setTitle(const QString& title, const QString& message, BoxStyle boxStyle,
    const QString& firstButtonTitle, const QString& secondButtonTitle) {
    setWindowTitle(title);
    m_ui.titleLabel->setText(title);
    m_message = message;
    m_ui.messageLabel->setText(wrappable(message, LongestMessage));
    m_ui.messageLabel->setAccessibleName(message.left(LongestMessage));
    setAccessibleName(title);
    setAccessibleDescription(shortened(message, LongestDescription));
    const bool isWarning = boxStyle == BoxStyle::Warning;
    Theme::setPicture(m_ui.iconLabel, isWarning ? u"alert"_s : u"info"_s, Theme::Space24,
        Theme::color(isWarning ? Theme::Color::Attention : Theme::Color::Brand));
    giveTitle(m_ui.firstButton, firstButtonTitle);
    giveTitle(m_ui.secondButton, secondButtonTitle);
    QPushButton* usual = secondButtonTitle.isEmpty() ? m_ui.firstButton : m_ui.secondButton;
    usual->setDefault(true);
    usual->setFocus();
    fitHeight();
}

void CustomMessageBox::fitHeight() {
    // The texts wrap by the fonts that the style sheet gives them, which it does only when it must.
    for (QWidget* child : findChildren<QWidget*>())
        child->ensurePolished();
    const int others = heightWithMessage(0);
    // Widgets that were never shown are not laid out by their windows.
    m_ui.groundLayout->setGeometry({0, 0, Theme::BoxWidth, others});
    const int wanted = m_ui.messageLabel->heightForWidth(m_ui.messageArea->width());
    const int room = screen()->availableGeometry().height() * LargestPercent / 100 - others;
    setFixedHeight(heightWithMessage(std::min(wanted, room)));
    m_ui.messageArea->setFocusPolicy(wanted > room ? Qt::TabFocus : Qt::NoFocus);
}

int CustomMessageBox::heightWithMessage(int messageHeight) {
    m_ui.messageArea->setFixedHeight(messageHeight);
    // From the inside out: each tells the one around it only then.
    m_ui.groundLayout->activate();
    layout()->activate();
    return layout()->totalMinimumSize().height();
}

void CustomMessageBox::attach() {
    // A sheet blocks every window of its parent but the modal one that came last.
    if (QApplication::activeModalWidget())
        setWindowModality(Qt::WindowModal);
    if (const QWidget* parent = parentWidget())
        setGeometry(QRect(BaseWindowController::originWithin(
                              BaseWindowController::areaAround(*parent), size(), parent->window()->geometry()),
            size()));
    BaseWindowController::makeKeyAndOrderFront(*this);
}

void CustomMessageBox::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_PageUp || event->key() == Qt::Key_PageDown)
        QCoreApplication::sendEvent(m_ui.messageArea->verticalScrollBar(), event);
    else
        QDialog::keyPressEvent(event);
}
