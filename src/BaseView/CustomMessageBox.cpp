#include "CustomMessageBox.h"

#include "Theme.h"
#include "WrappableText.h"
#include "ui_CustomMessageBox.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLayout>

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

constexpr qsizetype LongestMessage = 2000;

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
    m_ui->titleLabel->setText(title);
    m_message = message;
    m_ui->messageLabel->setText(wrappable(message, LongestMessage));
    m_ui->messageLabel->setAccessibleName(message.left(LongestMessage));
    setAccessibleName(title);
    setAccessibleDescription(message);
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
    setFixedHeight(layout()->totalHeightForWidth(Theme::BoxWidth));
}

void CustomMessageBox::setCompletion(std::function<void(int)> completion) {
    m_completion = std::move(completion);
}

void CustomMessageBox::attach() {
    // A sheet blocks every window of its parent but the modal one that came last.
    if (QApplication::activeModalWidget())
        setWindowModality(Qt::WindowModal);
    if (const QWidget* parent = parentWidget())
        setGeometry(QRect(originForCentring(size(), parent->window()->geometry()), size()));
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
    default:
        AutoReleaseWindowController::keyPressEvent(event);
    }
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
