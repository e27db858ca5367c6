#include "QenDetailWindow.h"

#include "AccountManager.h"
#include "AccountModel.h"
#include "ApplicationInterface.h"
#include "Bundle.h"
#include "ClientNotifications.h"
#include "ITDevice.h"
#include "MainThreadGate.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "StartCheckLoginDelegate.h"
#include "StringTable.h"
#include "Theme.h"
#include "ui_QenDetailWindow.h"

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>

using namespace Qt::StringLiterals;

// What the login window sends and what it makes of the answers; the device panel.

namespace {

constexpr int AlertTipMilliseconds = 1500;
/// What the server is told of every device of this client.
const QString DeviceType = u"PC"_s;

struct DeviceFacts {
    QString name;
    QString systemVersion;
    QString ip;
    QString mac;
};

DeviceFacts readDeviceFacts(ITDevice& device) {
    const ITDevice::Addresses addresses = device.addresses();
    return {device.machineName(), device.osVersion(), addresses.ip.join(u';'), addresses.mac.join(u';')};
}

/// The addresses as the last request sent them, or as they are now.
QJsonObject logoutRequest(const AccountModel& account, QenCloudLoginHelper& login, ITDevice& device) {
    const QString ip = login.accounts().login_ip();
    const QString mac = login.accounts().login_Mac();
    const ITDevice::Addresses now = device.addresses();
    return {{u"userid"_s, account.userid()}, {u"ticket"_s, account.decryptTicket()}, {u"deviceid"_s, device.uuid()},
        {u"ip"_s, ip.isEmpty() ? now.ip.join(u';') : ip}, {u"mac"_s, mac.isEmpty() ? now.mac.join(u';') : mac}};
}

} // namespace

QenDetailWindow::Answer QenDetailWindow::answerTo(Handler handler) {
    return [this, gate = m_gate, handler, &login = m_world.login, &center = m_world.center](
               const QJsonObject& answer, const Platform::Error& error) {
        gate->async([this, handler, answer, error] { (this->*handler)(answer, error); });
        // Who closed the window meanwhile may be signed in all the same.
        Platform::mainQueue().async([gate, &login, &center] {
            if (gate->isClosed() && login.iflogin())
                center.post(ClientNotification::QRLoginState, qint64(0));
        });
    };
}

void QenDetailWindow::refuse(FormField* field, const QString& text) {
    field->setError(text);
    field->setFocus();
}

void QenDetailWindow::tapConfirmBtn() {
    if (m_ui->confirmBtn->isBusy())
        return;
    for (FormField* field : {m_ui->accountField, m_ui->passwordField, m_ui->otpField})
        field->clearError();
    const QString account = m_ui->accountField->text();
    const QString password = m_ui->passwordField->text();
    // The agent may have changed its mind since the page was built.
    const bool isOtpWanted = m_world.login.iShowOTP();
    m_ui->otpField->setVisible(isOtpWanted);
    if (account.isEmpty()) {
        refuse(m_ui->accountField, u"账号不能为空"_s);
        return;
    }
    if (password.isEmpty()) {
        refuse(m_ui->passwordField, u"密码不能为空"_s);
        return;
    }
    if (isOtpWanted && m_ui->otpField->text().isEmpty()) {
        refuse(m_ui->otpField, u"OTP不能为空"_s);
        return;
    }
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud Account login"_s, 1);
    m_ui->confirmBtn->setBusy(true);
    const QJsonObject parameters{{u"userid"_s, account}, {u"password"_s, password}, {u"otp"_s, m_ui->otpField->text()}};
    m_requests->async(
        [&login = m_world.login, parameters, complete = answerTo(&QenDetailWindow::accountLoginHandleWithResponse)] {
            login.login(parameters, complete);
        });
}

void QenDetailWindow::accountLoginHandleWithResponse(const QJsonObject& answer, const Platform::Error& error) {
    m_ui->confirmBtn->setBusy(false);
    showVerdict(judgeAccountAnswer(answer, error));
}

void QenDetailWindow::showVerdict(const DetailVerdict& verdict) {
    if (!verdict.log.isEmpty())
        m_world.log.writeLog(verdict.log, 1);
    switch (verdict.show) {
    case DetailVerdict::Show::Nothing:
        break;
    case DetailVerdict::Show::Key:
        showAlertTipForLogin(localizedString(verdict.text));
        break;
    case DetailVerdict::Show::Text:
        showAlertTipForLogin(verdict.text);
        break;
    case DetailVerdict::Show::ResetPage:
        m_ui->newPasswordHintLab->hide();
        m_ui->newPasswordField->clear();
        m_ui->repeatedPasswordField->clear();
        m_ui->resetAccountLab->setText(
            u"账号 %1 需要先修改密码，才能登录。"_s.arg(m_ui->accountField->text().left(64)));
        selectPage(ResetPage);
        m_ui->newPasswordField->setFocus();
        break;
    case DetailVerdict::Show::SignedIn:
        // An answer that says so without a ticket has made no record.
        if (m_world.login.iflogin()) {
            refreshUI();
            break;
        }
        clearSecrets();
        selectPage(AccountPage);
    }
}

void QenDetailWindow::resetPassBtn() {
    const bool isBad = breaksPasswordRule(m_ui->newPasswordField->text());
    m_ui->newPasswordHintLab->setText(localizedString(u"PwdFormatError"_s));
    m_ui->newPasswordHintLab->setVisible(isBad);
    if (!isBad)
        m_ui->repeatedPasswordField->setFocus();
}

void QenDetailWindow::ConfirmResetPassBtn() {
    if (m_ui->confirmResetBtn->isBusy())
        return;
    m_ui->newPasswordHintLab->hide();
    m_ui->newPasswordField->clearError();
    m_ui->repeatedPasswordField->clearError();
    const PasswordEntry entry{m_ui->accountField->text(), m_ui->passwordField->text(), m_ui->newPasswordField->text(),
        m_ui->repeatedPasswordField->text()};
    if (const PasswordCase refused = checkPasswordEntry(entry); refused != PasswordCase::Accepted) {
        refuseReset(refused);
        return;
    }
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud resetpassword in qen"_s, 1);
    m_ui->confirmResetBtn->setBusy(true);
    const QJsonObject parameters{
        {u"userid"_s, entry.userId}, {u"old_password"_s, entry.oldPassword}, {u"password"_s, entry.repeated}};
    m_requests->async(
        [&login = m_world.login, parameters, complete = answerTo(&QenDetailWindow::resetHandleWithResponse)] {
            login.resetPassword(parameters, complete);
        });
}

void QenDetailWindow::refuseReset(PasswordCase passwordCase) {
    const QString text = localizedString(tipKey(passwordCase));
    if (passwordCase == PasswordCase::Inconsistent) {
        refuse(m_ui->repeatedPasswordField, text);
    } else if (passwordCase == PasswordCase::Rule || passwordCase == PasswordCase::SameAsOld) {
        refuse(m_ui->newPasswordField, text);
    } else {
        // Of the account page's fields, which cannot be seen from here.
        m_ui->newPasswordHintLab->setText(text);
        m_ui->newPasswordHintLab->show();
    }
}

void QenDetailWindow::resetHandleWithResponse(const QJsonObject& answer, const Platform::Error& error) {
    m_ui->confirmResetBtn->setBusy(false);
    showVerdict(judgeResetAnswer(answer, error));
}

void QenDetailWindow::logoutBtn() {
    if (m_ui->logoutBtn->isBusy())
        return;
    // The server may have ended the session while the window was open.
    if (!m_world.login.iflogin()) {
        showSignedOut();
        return;
    }
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud logout"_s, 1);
    m_ui->logoutBtn->setBusy(true);
    m_requests->async([&login = m_world.login, &device = m_world.device, support = m_world.applicationSupport,
                          complete = answerTo(&QenDetailWindow::logoutHandleWithResponse)] {
        const auto account = AccountModel::currentModel(support).value_or(AccountModel());
        login.logout(logoutRequest(account, login, device), complete);
    });
}

void QenDetailWindow::logoutHandleWithResponse(const QJsonObject& answer, const Platform::Error& error) {
    m_ui->logoutBtn->setBusy(false);
    const DetailVerdict verdict = judgeDetailLogoutAnswer(answer, error);
    showVerdict(verdict);
    if (error && isSignOutPending())
        m_startCheckLoginDelegate.StartCheckLogin();
    if (error || m_world.login.iflogin())
        return;
    m_world.application.setItemsHiddenMenu();
    m_startCheckLoginDelegate.logoutCompleted();
    sessionEnded();
    m_world.center.post(ClientNotification::Logout, 0);
}

void QenDetailWindow::loadDevicePanel() {
    m_ui->clientVersionRow->setValue(Platform::infoValue(u"CFBundleVersion"_s));
    m_ui->deviceTypeRow->setValue(DeviceType);
    Platform::globalQueue().async([this, gate = m_gate, &device = m_world.device] {
        gate->async([this, facts = readDeviceFacts(device)] {
            m_ui->deviceNameRow->setValue(facts.name);
            m_ui->systemVersionRow->setValue(facts.systemVersion);
            m_ui->ipAddressRow->setValue(facts.ip);
            m_ui->macAddressRow->setValue(facts.mac);
        });
    });
}

void QenDetailWindow::copyDeviceName() {
    copy(*m_ui->deviceNameRow);
}

void QenDetailWindow::copySystemVersion() {
    copy(*m_ui->systemVersionRow);
}

void QenDetailWindow::copyIPAddress() {
    copy(*m_ui->ipAddressRow);
}

void QenDetailWindow::copyMacAddress() {
    copy(*m_ui->macAddressRow);
}

void QenDetailWindow::copyDeviceType() {
    copy(*m_ui->deviceTypeRow);
}

void QenDetailWindow::copyMacVersion() {
    copy(*m_ui->clientVersionRow);
}

void QenDetailWindow::copy(const DeviceFactRow& row) {
    QGuiApplication::clipboard()->clear();
    QGuiApplication::clipboard()->setText(row.value());
    showAlertTip(u"已复制%1"_s.arg(row.label()));
}

void QenDetailWindow::showAlertTip(const QString& text) {
    m_alertTip->setText(text);
    m_alertTip->adjustSize();
    m_alertTip->move(
        (m_ui->devicePanel->width() - m_alertTip->width()) / 2, height() - m_alertTip->height() - Theme::Space16);
    m_alertTip->show();
    m_alertTip->raise();
    m_alertTipEnd.start(AlertTipMilliseconds);
    QAccessibleEvent told(m_alertTip, QAccessible::Alert);
    QAccessible::updateAccessibility(&told);
}
