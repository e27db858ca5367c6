#include "MavModifyPasswordCtrl.h"

#include "QenCheckPasswordFormat.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "StringTable.h"
#include "Theme.h"
#include "WrappableText.h"

#include <QAccessible>
#include <QFocusEvent>
#include <QLineEdit>
#include <QScopedValueRollback>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestMessage = 300;
/// Lines of the tip for which the sheet keeps room, so that it seldom changes its height.
constexpr int TipLines = 2;

QString signedInUser(QenCloudLoginHelper& login) {
    return login.session().account().value_or(AccountModel()).userid();
}

QString identifier(const FormField& field) {
    return field.property("identifier").toString();
}

bool isEnter(const QEvent* event) {
    if (event->type() != QEvent::KeyPress)
        return false;
    const int key = static_cast<const QKeyEvent*>(event)->key();
    return key == Qt::Key_Return || key == Qt::Key_Enter;
}

/// A menu over the field and another window in front end no editing.
bool endsEditing(const QEvent* event) {
    if (event->type() != QEvent::FocusOut)
        return false;
    const Qt::FocusReason reason = static_cast<const QFocusEvent*>(event)->reason();
    return reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason;
}

} // namespace

MavModifypasswordViewCtrl::MavModifypasswordViewCtrl(const AccountForm::World& world, QWidget* parent)
    : QWidget(parent), m_world(world) {
    m_ui.setupUi(this);
    setFixedWidth(Theme::BoxWidth);
    Theme::setPicture(m_ui.tipMark, u"alert"_s, Theme::SmallIconSize, Theme::color(Theme::Color::Danger));
    m_ui.tipLine->setMinimumHeight(TipLines * QFontMetrics(Theme::font(Theme::TextSize::Note)).lineSpacing());
    connect(m_ui.savebtn, &QPushButton::clicked, this, &MavModifypasswordViewCtrl::okButtonPush);
    connect(m_ui.cancelbtn, &QPushButton::clicked, this, &MavModifypasswordViewCtrl::cancelButtonPush);
    for (FormField* field : fields())
        field->edit()->installEventFilter(this);
    reset();
}

std::array<FormField*, 3> MavModifypasswordViewCtrl::fields() const {
    return {m_ui.oldPassWordLabField, m_ui.fnewPassWordLabField, m_ui.confirmPassWordLabField};
}

FormField* MavModifypasswordViewCtrl::fieldOf(const QObject* edit) const {
    for (FormField* field : fields()) {
        if (field->edit() == edit)
            return field;
    }
    return nullptr;
}

void MavModifypasswordViewCtrl::reset() {
    ++m_opening;
    for (FormField* field : fields()) {
        field->clear();
        // The balloon's words, for whoever cannot see it.
        if (const auto tips = passwordBalloon(identifier(*field)))
            field->edit()->setAccessibleDescription(localizedString(tips->key));
    }
    showTip({});
    m_ui.savebtn->setBusy(false);
}

void MavModifypasswordViewCtrl::begin() {
    reset();
    const QString user = signedInUser(m_world.login);
    m_ui.oldPasswordTipsLab->setText(u"账号 %1，修改后请使用新密码登录。"_s.arg(wrappable(user, 64)));
    m_ui.oldPasswordTipsLab->setVisible(!user.isEmpty());
    m_ui.oldPassWordLabField->setFocus();
}

bool MavModifypasswordViewCtrl::eventFilter(QObject* watched, QEvent* event) {
    const FormField* field = fieldOf(watched);
    if (!field)
        return QWidget::eventFilter(watched, event);
    if (event->type() == QEvent::FocusIn) {
        notifyToBecomeFirstResponder(*field);
    } else if (endsEditing(event)) {
        textShouldEndEditing(field->text());
    } else if (isEnter(event) && field == m_ui.fnewPassWordLabField) {
        // Enter moves on from here; the sheet's button is not pressed.
        resetPassBtn();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void MavModifypasswordViewCtrl::resetPassBtn() {
    if (breaksPasswordRule(m_ui.fnewPassWordLabField->text())) {
        showTip(localizedString(u"PwdFormatError"_s));
        return;
    }
    showTip({});
    m_ui.confirmPassWordLabField->setFocus();
}

void MavModifypasswordViewCtrl::textShouldEndEditing(const QString& text) {
    // The button takes the keyboard back when an answer comes; that is nobody's typing.
    if (m_isHandlingAnswer)
        return;
    // Every field is checked, the old password's too, on purpose. Nothing keeps the editing from ending.
    noticesWithCase(breaksPasswordRule(text) ? PasswordCase::Rule : PasswordCase::Accepted);
}

void MavModifypasswordViewCtrl::notifyToBecomeFirstResponder(const FormField& field) {
    const auto tips = passwordBalloon(identifier(field));
    if (!tips)
        return;
    if (!m_checkPasswordCtrl)
        m_checkPasswordCtrl = new QenCheckPasswordFormat(this);
    m_checkPasswordCtrl->showTips(localizedString(tips->key), field.edit(), tips->height);
}

void MavModifypasswordViewCtrl::noticesWithCase(PasswordCase passwordCase) {
    const QString key = tipKey(passwordCase);
    showTip(key.isEmpty() ? QString() : localizedString(key));
}

void MavModifypasswordViewCtrl::showTip(const QString& text) {
    m_ui.resetPasswordTipsLab->setText(text);
    m_ui.resetPasswordTipsLab->setVisible(!text.isEmpty());
    m_ui.tipMark->setVisible(!text.isEmpty());
    if (text.isEmpty())
        return;
    // Whoever cannot see the line is told of it.
    QAccessibleEvent alert(m_ui.resetPasswordTipsLab, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void MavModifypasswordViewCtrl::okButtonPush() {
    if (m_ui.savebtn->isBusy())
        return;
    const PasswordEntry entry{signedInUser(m_world.login), m_ui.oldPassWordLabField->text(),
        m_ui.fnewPassWordLabField->text(), m_ui.confirmPassWordLabField->text()};
    const PasswordCase refused = checkPasswordEntry(entry);
    // The keyboard moves first: the field that it leaves would take the tip away.
    if (refused == PasswordCase::Inconsistent)
        m_ui.confirmPassWordLabField->setFocus();
    noticesWithCase(refused);
    if (refused == PasswordCase::Accepted)
        send(entry);
}

void MavModifypasswordViewCtrl::send(const PasswordEntry& entry) {
    m_world.log.writeLog(u"Mav start modify PassWord !!!!"_s, 1);
    m_ui.savebtn->setBusy(true);
    const QJsonObject parameters{
        {u"userid"_s, entry.userId}, {u"password"_s, entry.repeated}, {u"old_password"_s, entry.oldPassword}};
    const auto answered =
        m_answers.wrapped([this, opening = m_opening](const QJsonObject& answer, const Platform::Error& error) {
            const AnswerVerdict verdict = judgeAnswer(answer, error, AnswerPlace::PasswordSheet);
            if (opening == m_opening)
                resetHandleWithResponse(verdict);
            else
                tellLate(verdict);
        });
    Platform::globalQueue().async([&login = m_world.login, busy = m_world.work.token(), parameters, answered] {
        login.resetPassword(parameters, answered);
    });
}

void MavModifypasswordViewCtrl::resetHandleWithResponse(const AnswerVerdict& verdict) {
    const QScopedValueRollback handling(m_isHandlingAnswer, true);
    m_ui.savebtn->setBusy(false);
    if (verdict.show == AnswerVerdict::Show::Done) {
        Q_EMIT ended(Changed);
        tellLate(verdict);
    } else if (verdict.show != AnswerVerdict::Show::Nothing) {
        showTip(wrappable(verdict.told(), LongestMessage));
    }
}

void MavModifypasswordViewCtrl::tellLate(const AnswerVerdict& verdict) const {
    if (verdict.show == AnswerVerdict::Show::Done)
        m_world.alert((localizedString(u"PasswordChanged"_s) + u'\n' + verdict.text).trimmed());
    else if (verdict.show != AnswerVerdict::Show::Nothing)
        m_world.alert(localizedString(u"PasswordChangeFailed"_s).arg(verdict.told()));
}

MavModifyPasswordCtrl::MavModifyPasswordCtrl(const AccountForm::World& world, QWidget* window)
    : QDialog(window), m_view(new MavModifypasswordViewCtrl(world, this)) {
    setObjectName(u"MavModifyPasswordCtrl"_s);
    setAccessibleName(u"修改密码"_s);
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(m_view);
    connect(m_view, &MavModifypasswordViewCtrl::ended, this, &MavModifyPasswordCtrl::done);
    // There is no password to change for somebody who is not signed in any more.
    connect(&world.login.session(), &Session::changed, this, [this](SessionState, SessionState now) {
        if (now == SessionState::SignedOut && isVisible())
            done(MavModifypasswordViewCtrl::Cancelled);
    });
}

void MavModifyPasswordCtrl::beginSheet() {
    if (!isVisible())
        m_view->begin();
    open();
    raise();
    activateWindow();
}

void MavModifyPasswordCtrl::done(int returnCode) {
    QDialog::done(returnCode);
    // Passwords do not wait in a closed sheet.
    m_view->reset();
}
