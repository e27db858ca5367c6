#include "MavLoginStateViewCtrl.h"

#include "AccountForm.h"
#include "ApplicationInterface.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "StringTable.h"
#include "Theme.h"

#include <QLineEdit>

using namespace Qt::StringLiterals;

namespace {

constexpr int MarkSize = 64;
constexpr int LeastHeightWithMarks = 564;
enum RetrievalStep { RetrievalForm = 0, MailSent = 1 };

} // namespace

MavLoginStateViewCtrl::MavLoginStateViewCtrl(const MainViewWorld& world, QWidget* parent)
    : QWidget(parent), m_world(world) {
    m_ui.setupUi(this);
    for (QLabel* mark : {m_ui.loginMark, m_ui.resetMark, m_ui.retrievalMark})
        Theme::setPicture(mark, u"mark"_s, MarkSize);
    Theme::setPicture(m_ui.mailPicture, u"mail"_s, MarkSize);
    m_ui.backToServerBtn->setIcon(Theme::icon(u"back"_s, Theme::color(Theme::Color::SecondText)));
    m_ui.loginBtn->setText(localizedString(u"Login"_s));
    m_ui.resetRuleLab->setText(localizedString(u"PwdRuleTips"_s));
    m_ui.otpNoteLab->setText(localizedString(u"OtpElsewhere"_s));
    m_ui.scanLoginBtn->setVisible(static_cast<bool>(m_world.openDetailWindow));
    makeForm();
    connectPages();
    selectLoginTypeTableView(AccountPage);
}

void MavLoginStateViewCtrl::resizeEvent(QResizeEvent*) {
    // The forms come first.
    const bool isLow = height() < Theme::roomFor(LeastHeightWithMarks, 15);
    for (QLabel* mark : {m_ui.loginMark, m_ui.resetMark, m_ui.retrievalMark})
        mark->setHidden(isLow);
    m_ui.resetPageLayout->setSpacing(isLow ? Theme::Space8 : Theme::Space16);
    QSizePolicy keepsRoom = m_ui.backToServerBtn->sizePolicy();
    keepsRoom.setRetainSizeWhenHidden(!isLow);
    m_ui.backToServerBtn->setSizePolicy(keepsRoom);
}

void MavLoginStateViewCtrl::makeForm() {
    m_form = new AccountForm({.login = m_world.login,
                                 .log = m_world.log,
                                 .work = m_world.work,
                                 .alert = [&application = m_world.application](
                                              const QString& text) { application.showAlertTipForLogin(text); }},
        AccountForm::Place::loginPage(),
        // This view never sends a one-time code.
        {.account = m_ui.userIdLbField,
            .password = m_ui.passwordLbField,
            .otp = nullptr,
            .confirm = m_ui.loginBtn,
            .newPassword = m_ui.fnewPassWordLabField,
            .repeated = m_ui.confirmPassWordLabField,
            .confirmReset = m_ui.confirmResetBtn,
            .resetTips = m_ui.resetPasswordTipsLab},
        this);
    connect(m_form, &AccountForm::signedIn, this, &MavLoginStateViewCtrl::finishSignIn);
    connect(m_form, &AccountForm::passwordChanged, this, &MavLoginStateViewCtrl::showAccountPage);
    connect(m_form, &AccountForm::wantsResetPage, this, [this] { selectLoginTypeTableView(ResetPage); });
    connect(m_form, &AccountForm::newPasswordRefused, this, &MavLoginStateViewCtrl::showRuleOnce);
}

void MavLoginStateViewCtrl::connectPages() {
    using Self = MavLoginStateViewCtrl;
    connect(m_ui.loginBtn, &QPushButton::clicked, this, &Self::loginButton);
    connect(m_ui.confirmResetBtn, &QPushButton::clicked, this, &Self::ConfirmResetPasswordBtn);
    connect(m_ui.scanLoginBtn, &QPushButton::clicked, this, [this] { m_world.openDetailWindow(window()); });
    connect(m_ui.sendUseridBtn, &QPushButton::clicked, this, &Self::sendUseridtoServerBtn);
    for (FormField* field : {m_ui.userIdLbField, m_ui.passwordLbField})
        connect(field->edit(), &QLineEdit::returnPressed, this, &Self::loginButton);
    connect(m_ui.fnewPassWordLabField->edit(), &QLineEdit::returnPressed, this, &Self::resetPassBtn);
    connect(m_ui.confirmPassWordLabField->edit(), &QLineEdit::returnPressed, this, &Self::ConfirmResetPasswordBtn);
    connect(m_ui.getbackLabField->edit(), &QLineEdit::returnPressed, this, &Self::sendUseridtoServerBtn);
    connect(m_ui.fnewPassWordLabField->edit(), &QLineEdit::editingFinished, this, &Self::checkNewPassword);
    connect(m_ui.forgotPasswordBtn, &QPushButton::clicked, this, [this] { selectLoginTypeTableView(RetrievalPage); });
    for (QPushButton* back : {m_ui.resetBackBtn, m_ui.retrievalBackBtn, m_ui.mailBackBtn})
        connect(back, &QPushButton::clicked, this, &Self::showAccountPage);
    connect(m_ui.backToServerBtn, &QToolButton::clicked, this, &Self::wantsServerPage);
}

void MavLoginStateViewCtrl::showAccountPage() {
    selectLoginTypeTableView(AccountPage);
}

void MavLoginStateViewCtrl::selectLoginTypeTableView(int index) {
    // The other pages lead back to this one, not to the server.
    m_ui.backToServerBtn->setVisible(index != RetrievalPage && index != ResetPage);
    if (index == RetrievalPage) {
        m_ui.getbackLabField->clear();
        m_ui.retrieveTableView->setCurrentIndex(RetrievalForm);
        m_ui.loginTypeTable->setCurrentIndex(RetrievalPage);
        m_ui.getbackLabField->setFocus();
    } else if (index == ResetPage) {
        m_ui.fnewPassWordLabField->clear();
        m_ui.confirmPassWordLabField->clear();
        m_ui.resetPasswordTipsLab->hide();
        showRuleOnce();
        m_ui.resetAccountLab->setText(m_form->resetAccountText());
        m_ui.loginTypeTable->setCurrentIndex(ResetPage);
        // The user id cannot be seen from here, so the keyboard goes on to the first field that can.
        m_ui.fnewPassWordLabField->setFocus();
    } else {
        m_ui.userIdLbField->clear();
        m_ui.passwordLbField->clear();
        m_ui.loginTypeTable->setCurrentIndex(AccountPage);
        m_ui.otpNoteLab->setVisible(m_world.openDetailWindow && m_world.login.iShowOTP());
        m_ui.userIdLbField->setFocus();
    }
}

void MavLoginStateViewCtrl::showTip(const QString& text) {
    m_world.application.showAlertTipForLogin(text);
}

void MavLoginStateViewCtrl::loginButton() {
    m_form->login();
}

void MavLoginStateViewCtrl::finishSignIn() {
    // Off screen it has been emptied already, and would take the keyboard from where the person is by now.
    if (isVisible())
        selectLoginTypeTableView(AccountPage);
    if (m_tapLoginBlock)
        m_tapLoginBlock();
}

void MavLoginStateViewCtrl::sendUseridtoServerBtn() {
    if (m_ui.sendUseridBtn->isBusy())
        return;
    m_ui.getbackLabField->clearError();
    const QString userId = m_ui.getbackLabField->text();
    if (userId.isEmpty()) {
        m_ui.getbackLabField->setError(localizedString(u"AccountNotEmpty"_s));
        m_ui.getbackLabField->setFocus();
        showTip(m_ui.getbackLabField->error());
        return;
    }
    m_ui.sendUseridBtn->setBusy(true);
    const auto answered = m_answers.wrapped([this](const QJsonObject& answer, const Platform::Error& error) {
        retrievalAnswered(judgeAnswer(answer, error, AnswerPlace::RetrievalPage),
            ServerAnswer::data(answer).value(u"user_email").toString());
    });
    Platform::globalQueue().async([&login = m_world.login, busy = m_world.work.token(), userId, answered] {
        login.retrievePassWordWithUserId(userId, answered);
    });
}

void MavLoginStateViewCtrl::retrievalAnswered(const AnswerVerdict& verdict, const QString& address) {
    m_ui.sendUseridBtn->setBusy(false);
    if (verdict.show != AnswerVerdict::Show::Done) {
        showTip(verdict.told());
        return;
    }
    m_ui.mailInfoLab->setText(u"%1 %2"_s.arg(localizedString(u"PasswordSendTo"_s), address).trimmed());
    m_ui.retrieveTableView->setCurrentIndex(MailSent);
    m_ui.mailBackBtn->setFocus();
}

void MavLoginStateViewCtrl::resetPassBtn() {
    checkNewPassword();
    if (m_ui.fnewPassWordLabField->error().isEmpty())
        m_ui.confirmPassWordLabField->setFocus();
}

void MavLoginStateViewCtrl::checkNewPassword() {
    const bool breaksRule = breaksPasswordRule(m_ui.fnewPassWordLabField->text());
    m_ui.fnewPassWordLabField->setError(breaksRule ? localizedString(tipKey(PasswordCase::Rule)) : QString());
    showRuleOnce();
}

void MavLoginStateViewCtrl::showRuleOnce() {
    m_ui.resetRuleLab->setVisible(m_ui.fnewPassWordLabField->error() != m_ui.resetRuleLab->text());
}

void MavLoginStateViewCtrl::ConfirmResetPasswordBtn() {
    m_form->resetPassword();
}
