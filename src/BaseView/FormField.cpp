#include "FormField.h"

#include "Theme.h"

using namespace Qt::StringLiterals;

FormField::FormField(QWidget* parent) : QWidget(parent) {
    m_ui.setupUi(this);
    Theme::setPicture(m_ui.mark, u"alert"_s, Theme::SmallIconSize, Theme::color(Theme::Color::Danger));
    setFocusProxy(m_ui.edit);
    connect(m_ui.eye, &QToolButton::toggled, this, &FormField::revealSecret);
}

void FormField::setLabel(const QString& label) {
    m_ui.label->setText(label);
    m_ui.edit->setAccessibleName(label);
}

void FormField::setFieldName(const QString& name) {
    m_ui.edit->setObjectName(name);
    m_ui.error->setObjectName(name + u"Error"_s);
    m_ui.eye->setObjectName(name + u"Eye"_s);
}

void FormField::setSecret(bool secret) {
    m_ui.eye->setVisible(secret);
    m_ui.edit->setTextMargins(0, 0, secret ? Theme::ControlHeight : 0, 0);
    m_ui.edit->setInputMethodHints(
        secret ? Qt::ImhHiddenText | Qt::ImhNoPredictiveText | Qt::ImhSensitiveData : Qt::ImhNone);
    revealSecret(!secret);
}

void FormField::revealSecret(bool shown) {
    m_ui.edit->setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password);
    m_ui.eye->setIcon(Theme::icon(shown ? u"eye-open"_s : u"eye-closed"_s, Theme::color(Theme::Color::SecondText)));
    m_ui.eye->setToolTip(shown ? qtTrId("HideSecret") : qtTrId("ShowSecret"));
    m_ui.eye->setAccessibleName(m_ui.eye->toolTip());
}

void FormField::clear() {
    m_ui.edit->clear();
    m_ui.eye->setChecked(false);
    clearError();
}

void FormField::setError(const QString& error) {
    m_ui.error->setText(error);
    m_ui.errorLine->setVisible(!error.isEmpty());
    m_ui.edit->setAccessibleDescription(error);
    Theme::setRole(m_ui.edit, "faulty", error.isEmpty() ? u"false"_s : u"true"_s);
}
