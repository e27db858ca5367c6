#include "AccountForm.h"

#include "FormField.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "SpinnerButton.h"
#include "StringTable.h"

#include <QLabel>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestAccount = 64;

} // namespace

AccountForm::Place AccountForm::Place::loginPage() {
    return {.login = AnswerPlace::LoginPage,
        .reset = AnswerPlace::ResetPage,
        .noAccount = localizedString(u"AccountNotEmpty"_s),
        .noPassword = localizedString(u"PwdNotEmpty"_s),
        .noOtp = {},
        .resetLine = u"Mav start modify PassWord !!!!"_s,
        .alertsRefusals = true};
}

AccountForm::Place AccountForm::Place::loginWindow() {
    return {.login = AnswerPlace::LoginWindow,
        .reset = AnswerPlace::ResetInLoginWindow,
        .noAccount = u"账号不能为空"_s,
        .noPassword = u"密码不能为空"_s,
        .noOtp = u"OTP不能为空"_s,
        .resetLine = u"[QenDetailWindow] QenCloud resetpassword in qen"_s};
}

AccountForm::AccountForm(World world, Place place, Fields fields, QObject* parent)
    : QObject(parent), m_world(std::move(world)), m_place(std::move(place)), m_fields(fields) {}

void AccountForm::refuse(FormField* field, const QString& text) {
    field->setError(text);
    field->setFocus();
    if (m_place.alertsRefusals)
        m_world.alert(text);
}

void AccountForm::login() {
    if (m_fields.confirm->isBusy())
        return;
    m_fields.account->clearError();
    m_fields.password->clearError();
    // The agent may have changed its mind since the page was built.
    const bool isOtpWanted = m_fields.otp && m_world.login.iShowOTP();
    if (m_fields.otp) {
        m_fields.otp->clearError();
        m_fields.otp->setVisible(isOtpWanted);
    }
    if (m_fields.account->text().isEmpty()) {
        refuse(m_fields.account, m_place.noAccount);
        return;
    }
    if (m_fields.password->text().isEmpty()) {
        refuse(m_fields.password, m_place.noPassword);
        return;
    }
    if (isOtpWanted && m_fields.otp->text().isEmpty()) {
        refuse(m_fields.otp, m_place.noOtp);
        return;
    }
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud Account login"_s, 1);
    const QJsonObject parameters{{u"userid"_s, m_fields.account->text()}, {u"password"_s, m_fields.password->text()},
        {u"otp"_s, m_fields.otp ? m_fields.otp->text() : QString()}};
    send(
        m_fields.confirm,
        [&login = m_world.login, parameters](const auto& complete) { login.login(parameters, complete); },
        m_place.login, &AccountForm::loginDone);
}

void AccountForm::resetPassword() {
    if (m_fields.confirmReset->isBusy())
        return;
    m_fields.resetTips->hide();
    m_fields.newPassword->clearError();
    m_fields.repeated->clearError();
    const PasswordEntry entry{
        m_fields.account->text(), m_fields.password->text(), m_fields.newPassword->text(), m_fields.repeated->text()};
    const PasswordCase why = checkPasswordEntry(entry);
    const QString text = localizedString(tipKey(why));
    switch (why) {
    case PasswordCase::Accepted:
        break;
    case PasswordCase::Inconsistent:
        refuse(m_fields.repeated, text);
        return;
    case PasswordCase::Rule:
    case PasswordCase::SameAsOld:
        refuse(m_fields.newPassword, text);
        Q_EMIT newPasswordRefused(why);
        return;
    default:
        // What is missing stands on the page before, whose fields cannot be seen from here.
        m_fields.resetTips->setText(text);
        m_fields.resetTips->show();
        if (m_place.alertsRefusals)
            m_world.alert(text);
        return;
    }
    m_world.log.writeLog(m_place.resetLine, 1);
    const QJsonObject parameters{
        {u"userid"_s, entry.userId}, {u"old_password"_s, entry.oldPassword}, {u"password"_s, entry.repeated}};
    send(
        m_fields.confirmReset,
        [&login = m_world.login, parameters](const auto& complete) { login.resetPassword(parameters, complete); },
        m_place.reset, &AccountForm::resetDone);
}

void AccountForm::send(SpinnerButton* button, Send request, AnswerPlace place, void (AccountForm::*done)()) {
    button->setBusy(true);
    // What an answer means is logged whether or not the page is still there.
    const auto answered = [&log = m_world.log, place = std::move(place),
                              show = m_answers.wrapped([this, button, done](const AnswerVerdict& verdict) {
                                  button->setBusy(false);
                                  this->show(verdict, done);
                              })](const QJsonObject& answer, const Platform::Error& error) {
        const AnswerVerdict verdict = judgeAnswer(answer, error, place);
        if (!verdict.log.isEmpty())
            log.writeLog(verdict.log, 1);
        show(verdict);
    };
    // Off this thread: a request is made of files and of what the computer is asked.
    Platform::globalQueue().async(
        [busy = m_world.work.token(), request = std::move(request), answered] { request(answered); });
}

void AccountForm::show(const AnswerVerdict& verdict, void (AccountForm::*done)()) {
    switch (verdict.show) {
    case AnswerVerdict::Show::Nothing:
        break;
    case AnswerVerdict::Show::Key:
    case AnswerVerdict::Show::Text:
        m_world.alert(verdict.words());
        break;
    case AnswerVerdict::Show::ResetPage:
        m_fields.newPassword->clear();
        m_fields.repeated->clear();
        m_fields.resetTips->hide();
        Q_EMIT wantsResetPage();
        break;
    case AnswerVerdict::Show::Done:
        (this->*done)();
    }
}

void AccountForm::loginDone() {
    // An answer that says so without a ticket, or that came too late, has made no session.
    if (m_world.login.session().state() == SessionState::Confirmed)
        Q_EMIT signedIn();
    else
        m_world.alert(localizedString(u"AnswerUnusable"_s));
}

void AccountForm::resetDone() {
    // An answer with a ticket has signed the user in; without one the new password is asked for.
    if (m_world.login.session().state() == SessionState::Confirmed) {
        Q_EMIT signedIn();
    } else {
        m_world.alert(localizedString(u"PasswordChanged"_s));
        Q_EMIT passwordChanged();
    }
}

bool AccountForm::isNewPasswordBad() const {
    return breaksPasswordRule(m_fields.newPassword->text());
}

void AccountForm::clearSecrets() {
    for (FormField* field : {m_fields.password, m_fields.otp, m_fields.newPassword, m_fields.repeated}) {
        if (field)
            field->clear();
    }
}

QString AccountForm::resetAccountText() const {
    return u"账号 %1 需要先修改密码，才能登录。"_s.arg(m_fields.account->text().left(LongestAccount));
}
