#include "AccountForm.h"

#include "Completion.h"
#include "FormField.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "SpinnerButton.h"
#include "StringTable.h"

#include <QPointer>

using namespace Qt::StringLiterals;

/// One that is sent and the words for what may come of it.
struct AccountForm::Request {
    SpinnerButton* button;
    AnswerPlace place;
    std::function<void(const Platform::Completion<QJsonObject, Platform::Error>&)> call;
    /// Told when it is granted and nobody is signed in by that.
    QString keyWithoutSession;
    /// Told in place of the page for a new password when the form is gone.
    QString wantsReset = {};
};

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
    for (FormField* field : {m_fields.account, m_fields.password, m_fields.otp}) {
        if (field)
            field->clearError();
    }
    // The agent may have changed its mind since the page was built.
    const bool isOtpWanted = m_fields.otp && m_world.login.iShowOTP();
    if (m_fields.otp)
        m_fields.otp->setVisible(isOtpWanted);
    const std::pair<FormField*, QString> wanted[] = {{m_fields.account, m_place.noAccount},
        {m_fields.password, m_place.noPassword}, {isOtpWanted ? m_fields.otp : nullptr, m_place.noOtp}};
    for (const auto& [field, refusal] : wanted) {
        if (field && field->text().isEmpty())
            return refuse(field, refusal);
    }
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud Account login"_s, 1);
    const QJsonObject parameters{{u"userid"_s, m_fields.account->text()}, {u"password"_s, m_fields.password->text()},
        {u"otp"_s, m_fields.otp ? m_fields.otp->text() : QString()}};
    send({.button = m_fields.confirm,
        .place = m_place.login,
        .call = [&login = m_world.login, parameters](const auto& complete) { login.login(parameters, complete); },
        .keyWithoutSession = u"AnswerUnusable"_s,
        .wantsReset = resetAccountText()});
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
    if (why == PasswordCase::Inconsistent)
        return refuse(m_fields.repeated, text);
    if (why == PasswordCase::Rule || why == PasswordCase::SameAsOld) {
        refuse(m_fields.newPassword, text);
        Q_EMIT newPasswordRefused(why);
        return;
    }
    if (why != PasswordCase::Accepted) {
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
    send({.button = m_fields.confirmReset,
        .place = m_place.reset,
        .call = [&login = m_world.login, parameters](
                    const auto& complete) { login.resetPassword(parameters, complete); },
        .keyWithoutSession = u"PasswordChanged"_s});
}

void AccountForm::send(Request request) {
    request.button->setBusy(true);
    const auto answered = [form = QPointer(this), session = QPointer(&m_world.login.session()), &log = m_world.log,
                              alert = m_world.alert, request](const QJsonObject& answer, const Platform::Error& error) {
        const AnswerVerdict verdict = judgeAnswer(answer, error, request.place);
        if (!verdict.log.isEmpty())
            log.writeLog(verdict.log, 1);
        Platform::mainQueue().async([=] {
            // The client has ended.
            if (!session)
                return;
            // One that says so without a ticket, or that came too late, has signed nobody in.
            const bool isDone = verdict.show == AnswerVerdict::Show::Done;
            const bool hasNoSession = isDone && session->state() != SessionState::Confirmed;
            const QStringList lines{hasNoSession ? localizedString(request.keyWithoutSession) : QString(),
                verdict.show == AnswerVerdict::Show::ResetPage && !form ? request.wantsReset : verdict.told()};
            if (const QString told = lines.join(u'\n').trimmed(); !told.isEmpty())
                alert(told);
            if (form)
                form->answered(request, verdict.show);
        });
    };
    // Off this thread: a request is made of files and of what the computer is asked.
    Platform::globalQueue().async([busy = m_world.work.token(), call = request.call, answered] { call(answered); });
}

void AccountForm::answered(const Request& request, AnswerVerdict::Show show) {
    request.button->setBusy(false);
    if (show == AnswerVerdict::Show::ResetPage) {
        m_fields.newPassword->clear();
        m_fields.repeated->clear();
        m_fields.resetTips->hide();
        Q_EMIT wantsResetPage();
    } else if (show == AnswerVerdict::Show::Done && m_world.login.session().state() == SessionState::Confirmed) {
        Q_EMIT signedIn();
    } else if (show == AnswerVerdict::Show::Done && request.button == m_fields.confirmReset) {
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
    constexpr qsizetype LongestAccount = 64;
    return u"账号 %1 需要先修改密码，才能登录。"_s.arg(m_fields.account->text().left(LongestAccount));
}
