#include "QenDetailWindow.h"

#include "AccountForm.h"
#include "ApplicationInterface.h"
#include "ClientNotifications.h"
#include "CustomMessageBox.h"
#include "Deployment.h"
#include "IntegerValue.h"
#include "LogoutRequest.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "StringTable.h"
#include "SystemLog.h"
#include "Theme.h"

#include <QLineEdit>
#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

constexpr int AvatarSize = 56;
/// The login methods that selectBtnTag() tells.
constexpr int OnlyAccount = 1;
const QString ScanHint = u"温馨提示：连网可能出现延时，扫码登录后，请等待审核通过，随后请检查电脑设备是否已连网。"_s;
const QString ScanWanted = u"请使用手机客户端扫码登录"_s;
} // namespace

QenDetailWindow::QenDetailWindow(
    SessionViewWorld world, StartCheckLoginDelegate& startCheckLoginDelegate, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_world(std::move(world)), m_startCheckLoginDelegate(startCheckLoginDelegate),
      m_timerCheckQueue(PollTimer::makeQueue(Deployment::AccountCheckQueueLabel, m_world.work)),
      m_reachability(m_world.networkReader) {
    m_ui.setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(parent ? Qt::WindowModal : Qt::ApplicationModal);
    m_ui.ground->setMinimumSize(Theme::LoginWindowSize);
    setAccessibleName(u"登录"_s);
    m_ui.devicePanel->setFixedWidth(Theme::LoginWindowSize.width() / 3);
    m_ui.confirmBtn->setText(localizedString(u"Login"_s));
    m_ui.loginStatusLab->setText(ScanWanted);
    m_ui.newPasswordField->edit()->setPlaceholderText(u"8 至 32 位，含字母、数字和符号"_s);
    Theme::setPicture(m_ui.signedInPicture, u"avatar_safe_normal"_s, AvatarSize);
    for (QAbstractButton* button : findChildren<QAbstractButton*>()) {
        if (button->accessibleName().isEmpty())
            button->setAccessibleName(button->text());
    }
    // Enter in a field is the field's own business.
    for (QPushButton* button : findChildren<QPushButton*>())
        button->setAutoDefault(false);
    makeForm();
    connectPages();
    load();
}

void QenDetailWindow::makeForm() {
    m_form = new AccountForm({.login = m_world.login, .log = m_world.log, .work = m_world.work, .alert = alert()},
        AccountForm::Place::loginWindow(),
        {.account = m_ui.accountField,
            .password = m_ui.passwordField,
            .otp = m_ui.otpField,
            .confirm = m_ui.confirmBtn,
            .newPassword = m_ui.newPasswordField,
            .repeated = m_ui.repeatedPasswordField,
            .confirmReset = m_ui.confirmResetBtn,
            .resetTips = m_ui.newPasswordHintLab},
        this);
    connect(m_form, &AccountForm::signedIn, this, &QenDetailWindow::refreshUI);
    connect(m_form, &AccountForm::passwordChanged, this, [this] {
        m_form->clearSecrets();
        selectPage(AccountPage);
    });
    connect(m_form, &AccountForm::wantsResetPage, this, [this] {
        m_ui.resetAccountLab->setText(m_form->resetAccountText());
        selectPage(ResetPage);
        m_ui.newPasswordField->setFocus();
    });
}

void QenDetailWindow::connectPages() {
    using Self = QenDetailWindow;
    // No button group: Tab would pass by one of its members.
    // Not on the click: who works by the accessibility bus toggles.
    connect(m_ui.qrTabBtn, &QToolButton::toggled, this, [this] { selectPage(QRPage); });
    connect(m_ui.accountTabBtn, &QToolButton::toggled, this, [this] { selectPage(AccountPage); });
    connect(m_ui.qrCodeView, &QRCodeView::wantsRenewal, this, &Self::StartCheckQR);
    connect(m_ui.confirmBtn, &QPushButton::clicked, this, &Self::tapConfirmBtn);
    for (FormField* field : {m_ui.accountField, m_ui.passwordField, m_ui.otpField})
        connect(field->edit(), &QLineEdit::returnPressed, this, &Self::tapConfirmBtn);
    connect(m_ui.newPasswordField->edit(), &QLineEdit::returnPressed, this, &Self::resetPassBtn);
    connect(m_ui.repeatedPasswordField->edit(), &QLineEdit::returnPressed, this, &Self::ConfirmResetPassBtn);
    connect(m_ui.confirmResetBtn, &QPushButton::clicked, this, &Self::ConfirmResetPassBtn);
    connect(m_ui.resetBackBtn, &QPushButton::clicked, this, [this] { selectPage(AccountPage); });
    connect(m_ui.logoutBtn, &QPushButton::clicked, this, &Self::logoutBtn);
    connect(&m_world.login.session(), &Session::changed, this, &Self::sessionChanged);
}

void QenDetailWindow::load() {
    m_ui.devicePanel->load(m_world.device, m_world.work);
    followNetwork();
    buildTabs();
    if (isShownSignedIn()) {
        selectPage(SignedInPage);
    } else {
        StartCheckQR();
        m_startCheckLoginDelegate.StartCheckLogin();
    }
    createCheckLoginTimer();
    m_observer = m_world.center.observe(
        ClientNotification::QRLoginState, [this](const Platform::Notification& told) { refreshLb(told); });
}

bool QenDetailWindow::isShownSignedIn() const {
    const SessionState state = m_world.login.session().state();
    return state == SessionState::Confirmed || state == SessionState::LogoutPending;
}

void QenDetailWindow::buildTabs() {
    const bool isAccountOnly = m_world.login.selectBtnTag() == OnlyAccount;
    m_ui.qrTabBtn->setVisible(!isAccountOnly);
    m_ui.otpField->setVisible(m_world.login.iShowOTP());
    selectPage(isAccountOnly ? AccountPage : QRPage);
}

void QenDetailWindow::selectPage(Page page) {
    m_isresetPassword = page == ResetPage;
    const bool isEntered = m_ui.loginPages->currentIndex() != page;
    m_ui.loginPages->setCurrentIndex(page);
    m_ui.tabRow->setVisible(page == QRPage || page == AccountPage);
    const QSignalBlocker qrBlocker(m_ui.qrTabBtn);
    const QSignalBlocker accountBlocker(m_ui.accountTabBtn);
    m_ui.qrTabBtn->setChecked(page == QRPage);
    m_ui.accountTabBtn->setChecked(page == AccountPage);
    if (page == AccountPage)
        m_ui.accountField->setFocus();
    else if (page == QRPage)
        m_ui.qrTabBtn->setFocus();
    else if (page == SignedInPage) {
        const Session& session = m_world.login.session();
        const AccountModel record = session.account().value_or(AccountModel());
        m_ui.signedInName->setText(record.username().isEmpty() ? record.userid() : record.username());
        m_ui.signedInNote->setText(session.state() == SessionState::LogoutPending ? localizedString(u"SignOutPending"_s)
                                                                                  : localizedString(u"SignedInNote"_s));
        // The page is also filled anew while a sign-out is on its way.
        if (isEntered) {
            m_ui.logoutBtn->setBusy(false);
            m_ui.logoutBtn->setFocus();
        }
    }
}

void QenDetailWindow::followNetwork() {
    const auto follow = m_answers.wrapped([this](const QString& server) {
        m_reachability.setTarget(server);
        m_reachability.start([this](Platform::ReachabilityStatus status) {
            m_ui.qrCodeView->setOffline(status == Platform::ReachabilityStatus::NotReachable);
        });
    });
    // Not on this thread: the server's address stands in a file.
    Platform::globalQueue().async([follow, busy = m_world.work.token(), &config = m_world.config] {
        config.readServerConfig();
        follow(config.AcountIP_Config());
    });
}

void QenDetailWindow::createCheckQRTimer() {
    // A code without this device's sole identifier could not be told from another's.
    m_timerCheckQueue->async([&login = m_world.login] { login.createSoleidAndSave(); });
    const auto RefreshQR = [renew = m_answers.wrapped([this] { m_ui.qrCodeView->setRenewing(true); }),
                               show = m_answers.wrapped([this](const QImage& image) { showQR(image); }),
                               &login = m_world.login] {
        renew();
        // Waits for up to three seconds, in which the window may go.
        show(login.getCurrentQR(QRCodeView::CodeSide));
    };
    m_GDCheckQRTimer = std::make_unique<PollTimer>(m_timerCheckQueue, m_world.codeInterval, RefreshQR);
}

void QenDetailWindow::StartCheckQR() {
    closeCheckQR();
    createCheckQRTimer();
}

void QenDetailWindow::createCheckLoginTimer() {
    // Only writes this line, on purpose: the login state arrives by notification.
    m_GDCheckLoginTimer = std::make_unique<PollTimer>(
        m_timerCheckQueue, m_world.consoleInterval, [] { Platform::systemLog(u"login,login"_s); });
}

void QenDetailWindow::showQR(const QImage& image) {
    m_ui.qrCodeView->setRenewing(false);
    m_ui.qrCodeView->setImage(image);
}

void QenDetailWindow::refreshLb(const Platform::Notification& notification) {
    // Any thread may post; a notification without a number tells no state.
    if (const auto state = integerValue(notification.object))
        m_answers.async([this, value = *state] { showState(value); });
}

void QenDetailWindow::showState(qint64 state) {
    const QRStateLook look = qrStateLook(state);
    if (look.isDone) {
        refreshUI();
        m_startCheckLoginDelegate.closeDetailWindow(this);
        return;
    }
    m_ui.loginStatusLab->setText(look.text);
    m_ui.hintLab->setText(ScanHint);
    m_ui.hintLab->setVisible(look.hint);
}

void QenDetailWindow::showScanFailure(const QString& text) {
    m_ui.loginStatusLab->setText(text);
    m_ui.hintLab->hide();
}

void QenDetailWindow::refreshUI() {
    closeCheckQR();
    m_form->clearSecrets();
    selectPage(SignedInPage);
}

void QenDetailWindow::showSignedOut() {
    m_ui.loginStatusLab->setText(ScanWanted);
    m_ui.hintLab->hide();
    buildTabs();
    StartCheckQR();
    m_startCheckLoginDelegate.StartCheckLogin();
}

void QenDetailWindow::sessionChanged(SessionState, SessionState now) {
    const bool isSignedInPage = m_ui.loginPages->currentIndex() == SignedInPage;
    if (now == SessionState::SignedOut && isSignedInPage)
        showSignedOut();
    else if (isShownSignedIn())
        refreshUI();
}

void QenDetailWindow::tapConfirmBtn() {
    m_form->login();
}

void QenDetailWindow::resetPassBtn() {
    m_ui.newPasswordHintLab->setText(localizedString(u"PwdFormatError"_s));
    m_ui.newPasswordHintLab->setVisible(m_form->isNewPasswordBad());
    if (!m_form->isNewPasswordBad())
        m_ui.repeatedPasswordField->setFocus();
}

void QenDetailWindow::ConfirmResetPassBtn() {
    m_form->resetPassword();
}

void QenDetailWindow::logoutBtn() {
    if (m_ui.logoutBtn->isBusy())
        return;
    m_world.log.writeLog(u"[QenDetailWindow] QenCloud logout"_s, 1);
    m_ui.logoutBtn->setBusy(true);
    requestLogout({.login = m_world.login, .device = m_world.device, .log = m_world.log, .work = m_world.work},
        LogoutPlace::LoginWindow,
        [alert = alert(), button = QPointer(m_ui.logoutBtn), session = QPointer(&m_world.login.session()),
            &center = m_world.center](const AnswerVerdict& verdict) {
            Platform::mainQueue().async([=, &center] {
                // The client has ended.
                if (!session)
                    return;
                if (button)
                    button->setBusy(false);
                if (verdict.show == AnswerVerdict::Show::Done)
                    center.post(ClientNotification::Logout, 0);
                else
                    alert(verdict.told());
            });
        });
}

void QenDetailWindow::showAlertTipForLogin(const QString& text) {
    m_answers.async([tell = alert(), text] { tell(text); });
}

std::function<void(const QString&)> QenDetailWindow::alert() {
    return [self = QPointer(this), &application = m_world.application](const QString& text) {
        QenDetailWindow* window = self.data();
        if (!window || !window->isVisible())
            return application.showAlertTipForLogin(text);
        if (text.isEmpty())
            return;
        // Over this window, which blocks the one below.
        auto* box = new CustomMessageBox(window);
        box->setTitle(localizedString(u"Warnning"_s), text, CustomMessageBox::BoxStyle::Warning, {},
            localizedString(u"Confirm"_s));
        box->attach();
    };
}
