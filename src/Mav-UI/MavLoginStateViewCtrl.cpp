#include "MavLoginStateViewCtrl.h"

#include "ApplicationInterface.h"
#include "Deployment.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "StringTable.h"
#include "Theme.h"
#include "ui_MavLoginStateViewCtrl.h"

#include <QLineEdit>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

constexpr int MarkSize = 64;
enum RetrievalStep { RetrievalForm = 0, MailSent = 1 };

} // namespace

MavLoginStateViewCtrl::MavLoginStateViewCtrl(const MainViewWorld& world, QWidget* parent)
    : QWidget(parent), m_world(world), m_ui(std::make_unique<Ui::MavLoginStateViewCtrl>()),
      m_requests(Deployment::LoginQueueLabel) {
    m_ui->setupUi(this);
    for (QLabel* mark : {m_ui->loginMark, m_ui->resetMark, m_ui->retrievalMark})
        mark->setPixmap(Theme::picture(u"mark"_s, {MarkSize, MarkSize}, devicePixelRatioF()));
    m_ui->mailPicture->setPixmap(Theme::picture(u"mail"_s, {MarkSize, MarkSize}, devicePixelRatioF()));
    m_ui->backToServerBtn->setIcon(Theme::icon(u"back"_s, Theme::color(Theme::Color::SecondText)));
    QSizePolicy keepsRoom = m_ui->backToServerBtn->sizePolicy();
    keepsRoom.setRetainSizeWhenHidden(true);
    m_ui->backToServerBtn->setSizePolicy(keepsRoom);
    m_ui->backToServerBtn->setIconSize({Theme::IconSize, Theme::IconSize});
    m_ui->loginBtn->setText(localizedString(u"Login"_s));
    m_ui->resetRuleLab->setText(localizedString(u"PwdRuleTips"_s));
    m_ui->resetPasswordTipsLab->hide();
    m_ui->scanLoginBtn->setVisible(static_cast<bool>(m_world.openDetailWindow));
    for (QPushButton* button : findChildren<QPushButton*>())
        button->setAccessibleName(button->text());
    connectPages();
    selectLoginTypeTableView(AccountPage);
}

MavLoginStateViewCtrl::~MavLoginStateViewCtrl() = default;

void MavLoginStateViewCtrl::connectPages() {
    using Self = MavLoginStateViewCtrl;
    connect(m_ui->loginBtn, &QPushButton::clicked, this, &Self::loginButton);
    connect(m_ui->confirmResetBtn, &QPushButton::clicked, this, &Self::ConfirmResetPasswordBtn);
    connect(m_ui->scanLoginBtn, &QPushButton::clicked, this, &Self::scanLoginButton);
    connect(m_ui->sendUseridBtn, &QPushButton::clicked, this, &Self::sendUseridtoServerBtn);
    for (FormField* field : {m_ui->userIdLbField, m_ui->passwordLbField})
        connect(field->edit(), &QLineEdit::returnPressed, this, &Self::loginButton);
    connect(m_ui->fnewPassWordLabField->edit(), &QLineEdit::returnPressed, this, &Self::resetPassBtn);
    connect(m_ui->confirmPassWordLabField->edit(), &QLineEdit::returnPressed, this, &Self::ConfirmResetPasswordBtn);
    connect(m_ui->getbackLabField->edit(), &QLineEdit::returnPressed, this, &Self::sendUseridtoServerBtn);
    connect(m_ui->fnewPassWordLabField->edit(), &QLineEdit::editingFinished, this, &Self::checkNewPassword);
    connect(m_ui->forgotPasswordBtn, &QPushButton::clicked, this, [this] { selectLoginTypeTableView(RetrievalPage); });
    for (QPushButton* back : {m_ui->resetBackBtn, m_ui->retrievalBackBtn, m_ui->mailBackBtn})
        connect(back, &QPushButton::clicked, this, &Self::showAccountPage);
    connect(m_ui->backToServerBtn, &QToolButton::clicked, this, &Self::wantsServerPage);
}

void MavLoginStateViewCtrl::showAccountPage() {
    selectLoginTypeTableView(AccountPage);
}

void MavLoginStateViewCtrl::selectLoginTypeTableView(int index) {
    m_ui->userIdLbField->setFocus();
    // The other pages lead back to this one, not to the server.
    m_ui->backToServerBtn->setVisible(index != RetrievalPage && index != ResetPage);
    switch (index) {
    case RetrievalPage:
        m_ui->getbackLabField->clear();
        m_ui->retrieveTableView->setCurrentIndex(RetrievalForm);
        m_ui->loginTypeTable->setCurrentIndex(RetrievalPage);
        m_ui->getbackLabField->setFocus();
        break;
    case ResetPage:
        m_ui->fnewPassWordLabField->clear();
        m_ui->confirmPassWordLabField->clear();
        m_ui->resetPasswordTipsLab->hide();
        showRuleOnce();
        m_ui->resetAccountLab->setText(u"账号 %1 需要先修改密码，才能登录。"_s.arg(m_ui->userIdLbField->text()));
        m_ui->loginTypeTable->setCurrentIndex(ResetPage);
        // The user id cannot be seen from here, so the keyboard goes on to the first field that can.
        m_ui->fnewPassWordLabField->setFocus();
        break;
    default:
        m_ui->userIdLbField->clear();
        m_ui->passwordLbField->clear();
        m_ui->loginTypeTable->setCurrentIndex(AccountPage);
        m_ui->userIdLbField->setFocus();
    }
}

void MavLoginStateViewCtrl::showTip(const QString& text) {
    m_world.application.showAlertTipForLogin(text);
}

void MavLoginStateViewCtrl::refuse(FormField* field, const QString& key) {
    field->setError(localizedString(key));
    field->setFocus();
    showTip(field->error());
}

std::function<void(const QJsonObject&, const Platform::Error&)> MavLoginStateViewCtrl::answerTo(Handler handler) {
    return [view = QPointer(this), handler](const QJsonObject& answer, const Platform::Error& error) {
        Platform::mainQueue().async([view, handler, answer, error] {
            if (view)
                (view->*handler)(answer, error);
        });
    };
}

void MavLoginStateViewCtrl::loginButton() {
    if (m_ui->loginBtn->isBusy())
        return;
    m_ui->userIdLbField->clearError();
    m_ui->passwordLbField->clearError();
    const QJsonObject parameters{{u"userid"_s, m_ui->userIdLbField->text()},
        {u"password"_s, m_ui->passwordLbField->text()},
        // This view never sends a one-time code.
        {u"otp"_s, QString()}};
    if (m_ui->userIdLbField->text().isEmpty()) {
        refuse(m_ui->userIdLbField, u"AccountNotEmpty"_s);
        return;
    }
    if (m_ui->passwordLbField->text().isEmpty()) {
        refuse(m_ui->passwordLbField, u"PwdNotEmpty"_s);
        return;
    }
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud Account login"_s);
    m_ui->loginBtn->setBusy(true);
    m_requests.async([&login = m_world.login, parameters,
                         complete = answerTo(&MavLoginStateViewCtrl::accountLoginHandleWithResponse)] {
        login.login(parameters, complete);
    });
}

void MavLoginStateViewCtrl::scanLoginButton() {
    m_world.openDetailWindow(window());
}

void MavLoginStateViewCtrl::accountLoginHandleWithResponse(const QJsonObject& answer, const Platform::Error& error) {
    m_ui->loginBtn->setBusy(false);
    const LoginVerdict verdict = judgeLoginAnswer(answer, error);
    switch (verdict.show) {
    case LoginVerdict::Show::Nothing:
        break;
    case LoginVerdict::Show::Key:
        showTip(localizedString(verdict.text));
        break;
    case LoginVerdict::Show::Text:
        showTip(verdict.text);
        break;
    case LoginVerdict::Show::ResetPage:
        selectLoginTypeTableView(ResetPage);
        break;
    case LoginVerdict::Show::SignedIn:
        finishSignIn();
    }
}

void MavLoginStateViewCtrl::finishSignIn() {
    selectLoginTypeTableView(AccountPage);
    m_world.application.setItemsHiddenMenu();
    if (m_tapLoginBlock)
        m_tapLoginBlock();
}

void MavLoginStateViewCtrl::sendUseridtoServerBtn() {
    if (m_ui->sendUseridBtn->isBusy())
        return;
    m_ui->getbackLabField->clearError();
    const QString userId = m_ui->getbackLabField->text();
    if (userId.isEmpty()) {
        refuse(m_ui->getbackLabField, u"AccountNotEmpty"_s);
        return;
    }
    m_ui->sendUseridBtn->setBusy(true);
    m_requests.async(
        [&login = m_world.login, userId, complete = answerTo(&MavLoginStateViewCtrl::retrievalHandleWithResponse)] {
            login.retrievePassWordWithUserId(userId, complete);
        });
}

void MavLoginStateViewCtrl::retrievalHandleWithResponse(const QJsonObject& answer, const Platform::Error& error) {
    m_ui->sendUseridBtn->setBusy(false);
    const RetrievalVerdict verdict = judgeRetrievalAnswer(answer, error);
    switch (verdict.show) {
    case RetrievalVerdict::Show::Nothing:
        break;
    case RetrievalVerdict::Show::Key:
        showTip(localizedString(verdict.text));
        break;
    case RetrievalVerdict::Show::Text:
        showTip(verdict.text);
        break;
    case RetrievalVerdict::Show::MailSent:
        m_ui->mailInfoLab->setText(u"%1 %2"_s.arg(localizedString(u"PasswordSendTo"_s), verdict.text).trimmed());
        m_ui->retrieveTableView->setCurrentIndex(MailSent);
        m_ui->mailBackBtn->setFocus();
    }
}

void MavLoginStateViewCtrl::refusePassword(PasswordCase passwordCase) {
    const QString key = tipKey(passwordCase);
    switch (passwordCase) {
    case PasswordCase::Inconsistent:
        refuse(m_ui->confirmPassWordLabField, key);
        break;
    case PasswordCase::Rule:
    case PasswordCase::SameAsOld:
        refuse(m_ui->fnewPassWordLabField, key);
        showRuleOnce();
        break;
    default:
        // Of the fields of the login page, which cannot be seen from here.
        m_ui->resetPasswordTipsLab->setText(localizedString(key));
        m_ui->resetPasswordTipsLab->show();
        showTip(m_ui->resetPasswordTipsLab->text());
    }
}

void MavLoginStateViewCtrl::resetPassBtn() {
    checkNewPassword();
    if (m_ui->fnewPassWordLabField->error().isEmpty())
        m_ui->confirmPassWordLabField->setFocus();
}

void MavLoginStateViewCtrl::checkNewPassword() {
    const bool breaksRule = breaksPasswordRule(m_ui->fnewPassWordLabField->text());
    m_ui->fnewPassWordLabField->setError(breaksRule ? localizedString(tipKey(PasswordCase::Rule)) : QString());
    showRuleOnce();
}

void MavLoginStateViewCtrl::showRuleOnce() {
    m_ui->resetRuleLab->setVisible(m_ui->fnewPassWordLabField->error() != m_ui->resetRuleLab->text());
}

void MavLoginStateViewCtrl::ConfirmResetPasswordBtn() {
    if (m_ui->confirmResetBtn->isBusy())
        return;
    const PasswordEntry entry{m_ui->userIdLbField->text(), m_ui->passwordLbField->text(),
        m_ui->fnewPassWordLabField->text(), m_ui->confirmPassWordLabField->text()};
    m_ui->resetPasswordTipsLab->hide();
    m_ui->fnewPassWordLabField->clearError();
    m_ui->confirmPassWordLabField->clearError();
    if (const PasswordCase refused = checkPasswordEntry(entry); refused != PasswordCase::Accepted) {
        refusePassword(refused);
        return;
    }
    m_world.log.writeLog(u"Mav start modify PassWord !!!!"_s);
    m_ui->confirmResetBtn->setBusy(true);
    const QJsonObject parameters{
        {u"userid"_s, entry.userId}, {u"old_password"_s, entry.oldPassword}, {u"password"_s, entry.repeated}};
    m_requests.async(
        [&login = m_world.login, parameters, complete = answerTo(&MavLoginStateViewCtrl::resetHandleWithResponse)] {
            login.resetPassword(parameters, complete);
        });
}

void MavLoginStateViewCtrl::resetHandleWithResponse(const QJsonObject& answer, const Platform::Error& error) {
    m_ui->confirmResetBtn->setBusy(false);
    const PasswordVerdict verdict = judgePasswordAnswer(answer, error, u"ModifyPwdFailedForOldPwdError"_s);
    switch (verdict.show) {
    case PasswordVerdict::Show::Nothing:
        break;
    case PasswordVerdict::Show::Key:
        showTip(localizedString(verdict.text));
        break;
    case PasswordVerdict::Show::Text:
        showTip(verdict.text);
        break;
    case PasswordVerdict::Show::Changed:
        // An answer with a ticket has signed the user in; without one the new password is asked for.
        if (m_world.login.iflogin())
            finishSignIn();
        else
            showAccountPage();
    }
}
