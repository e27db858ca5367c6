#include "FormField.h"

#include "Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

FormField::FormField(QWidget* parent)
    : QWidget(parent), m_label(new QLabel(this)), m_edit(new QLineEdit(this)), m_errorLine(new QWidget(this)),
      m_error(new QLabel(m_errorLine)) {
    m_label->setProperty("textRole", u"second"_s);
    m_label->setBuddy(m_edit);
    m_edit->setMaxLength(256);
    setFocusProxy(m_edit);

    auto* mark = new QLabel(m_errorLine);
    mark->setPixmap(Theme::picture(u"alert"_s, {Theme::SmallIconSize, Theme::SmallIconSize}, devicePixelRatioF(),
        Theme::color(Theme::Color::Danger)));
    m_error->setProperty("textRole", u"error"_s);
    m_error->setWordWrap(true);
    auto* errorLayout = new QHBoxLayout(m_errorLine);
    errorLayout->setContentsMargins(0, 0, 0, 0);
    errorLayout->setSpacing(Theme::Space4);
    errorLayout->addWidget(mark, 0, Qt::AlignTop);
    errorLayout->addWidget(m_error, 1);
    m_errorLine->hide();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::Space4);
    layout->addWidget(m_label);
    layout->addWidget(m_edit);
    layout->addWidget(m_errorLine);
}

QString FormField::label() const {
    return m_label->text();
}

void FormField::setLabel(const QString& label) {
    m_label->setText(label);
    m_edit->setAccessibleName(label);
}

QString FormField::fieldName() const {
    return m_edit->objectName();
}

void FormField::setFieldName(const QString& name) {
    m_edit->setObjectName(name);
    m_error->setObjectName(name + u"Error"_s);
    if (m_eye)
        m_eye->setObjectName(name + u"Eye"_s);
}

void FormField::setSecret(bool secret) {
    if (!secret || m_eye)
        return;
    m_edit->setEchoMode(QLineEdit::Password);
    m_edit->setInputMethodHints(Qt::ImhHiddenText | Qt::ImhNoPredictiveText | Qt::ImhSensitiveData);
    m_eye = new QToolButton(m_edit);
    m_eye->setObjectName(m_edit->objectName() + u"Eye"_s);
    m_eye->setProperty("kind", u"icon"_s);
    m_eye->setCheckable(true);
    m_eye->setFocusPolicy(Qt::TabFocus);
    m_eye->setCursor(Qt::ArrowCursor);
    m_eye->setIconSize({Theme::IconSize, Theme::IconSize});
    connect(m_eye, &QToolButton::toggled, this, &FormField::revealSecret);
    revealSecret(false);

    auto* layout = new QHBoxLayout(m_edit);
    layout->setContentsMargins(0, 0, Theme::Space4 / 2, 0);
    layout->addStretch();
    layout->addWidget(m_eye);
    m_edit->setTextMargins(0, 0, Theme::ControlHeight, 0);
}

void FormField::revealSecret(bool shown) {
    m_edit->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password);
    m_eye->setIcon(Theme::icon(shown ? u"eye-open"_s : u"eye-closed"_s, Theme::color(Theme::Color::SecondText)));
    const QString action = shown ? qtTrId("HideSecret") : qtTrId("ShowSecret");
    m_eye->setToolTip(action);
    m_eye->setAccessibleName(action);
}

QString FormField::text() const {
    return m_edit->text();
}

void FormField::setText(const QString& text) {
    m_edit->setText(text);
}

void FormField::clear() {
    m_edit->clear();
    if (m_eye)
        m_eye->setChecked(false);
    clearError();
}

void FormField::setError(const QString& error) {
    m_error->setText(error);
    m_errorLine->setVisible(!error.isEmpty());
    m_edit->setAccessibleDescription(error);
    Theme::setRole(m_edit, "faulty", error.isEmpty() ? u"false"_s : u"true"_s);
}

QString FormField::error() const {
    return m_error->text();
}
