#include "CustomMessageBox.h"

#include "Theme.h"
#include "WrappableText.h"
#include "ui_CustomMessageBox.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLayout>
#include <QScreen>
#include <QScrollBar>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

struct Mark {
    QString picture;
    Theme::Color color;
};

Mark markFor(CustomMessageBox::BoxStyle style) {
    switch (style) {
    case CustomMessageBox::BoxStyle::Warning:
        return {u"alert"_s, Theme::Color::Attention};
    case CustomMessageBox::BoxStyle::Question:
        return {u"question"_s, Theme::Color::Brand};
    case CustomMessageBox::BoxStyle::Information:
        break;
    }
    return {u"info"_s, Theme::Color::Brand};
}

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
    : AutoReleaseWindowController(
          parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_ui(std::make_unique<Ui::CustomMessageBox>()) {
    m_ui->setupUi(this);
    setFixedWidth(Theme::BoxWidth);
    connect(m_ui->firstButton, &QPushButton::clicked, this, [this] { finish(1); });
    connect(m_ui->secondButton, &QPushButton::clicked, this, [this] { finish(2); });
}

CustomMessageBox::~CustomMessageBox() = default;

void CustomMessageBox::setTitle(const QString& title, const QString& message, BoxStyle boxStyle,
    const QString& firstButtonTitle, const QString& secondButtonTitle) {
    setWindowTitle(title);
    m_ui->titleLabel->setText(title);
    m_message = message;
    m_ui->messageLabel->setText(wrappable(message, LongestMessage));
    m_ui->messageLabel->setAccessibleName(message.left(LongestMessage));
    setAccessibleName(title);
    setAccessibleDescription(shortened(message, LongestDescription));
    const Mark mark = markFor(boxStyle);
    const QSize size(Theme::Space24, Theme::Space24);
    m_ui->iconLabel->setPixmap(Theme::picture(mark.picture, size, devicePixelRatioF(), Theme::color(mark.color)));
    giveTitle(m_ui->firstButton, firstButtonTitle);
    giveTitle(m_ui->secondButton, secondButtonTitle);
    (secondButtonTitle.isEmpty() ? m_ui->firstButton : m_ui->secondButton)->setFocus();
    fitHeight();
}

void CustomMessageBox::fitHeight() {
    // The texts wrap by the fonts that the style sheet gives them, which it does only when it must.
    for (QWidget* child : findChildren<QWidget*>())
        child->ensurePolished();
    const int others = heightWithMessage(0);
    // Widgets that were never shown are not laid out by their windows.
    m_ui->groundLayout->setGeometry({0, 0, Theme::BoxWidth, others});
    const int wanted = m_ui->messageLabel->heightForWidth(m_ui->messageArea->width());
    const int room = screen()->availableGeometry().height() * LargestPercent / 100 - others;
    setFixedHeight(heightWithMessage(std::min(wanted, room)));
    m_ui->messageArea->setFocusPolicy(wanted > room ? Qt::TabFocus : Qt::NoFocus);
}

int CustomMessageBox::heightWithMessage(int messageHeight) {
    m_ui->messageArea->setFixedHeight(messageHeight);
    // From the inside out: each tells the one around it only then.
    m_ui->groundLayout->activate();
    layout()->activate();
    return layout()->totalMinimumSize().height();
}

void CustomMessageBox::setCompletion(std::function<void(int)> completion) {
    m_completion = std::move(completion);
}

void CustomMessageBox::attach() {
    // A sheet blocks every window of its parent but the modal one that came last.
    if (QApplication::activeModalWidget())
        setWindowModality(Qt::WindowModal);
    if (const QWidget* parent = parentWidget())
        setGeometry(QRect(originWithin(areaAround(*parent), size(), parent->window()->geometry()), size()));
    makeKeyAndOrderFront();
}

void CustomMessageBox::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Escape:
        close();
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        (m_ui->firstButton->hasFocus() || m_ui->secondButton->isHidden() ? m_ui->firstButton : m_ui->secondButton)
            ->click();
        break;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        QCoreApplication::sendEvent(m_ui->messageArea->verticalScrollBar(), event);
        break;
    default:
        AutoReleaseWindowController::keyPressEvent(event);
    }
}

void CustomMessageBox::windowDidLoad() {
    // Its title was set with its texts, and stands in the title bar, too.
}

void CustomMessageBox::finish(int button) {
    m_button = button;
    close();
}

void CustomMessageBox::closeEvent(QCloseEvent* event) {
    AutoReleaseWindowController::closeEvent(event);
    if (const auto completion = std::exchange(m_completion, nullptr))
        completion(m_button);
}
