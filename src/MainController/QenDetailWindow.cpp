#include "QenDetailWindow.h"

#include "AccountModel.h"
#include "ApplicationInterface.h"
#include "ClientNotifications.h"
#include "CustomMessageBox.h"
#include "Deployment.h"
#include "IntegerValue.h"
#include "MainThreadGate.h"
#include "QenCloudLoginHelper.h"
#include "QenServerConfig.h"
#include "StartCheckLoginDelegate.h"
#include "StringTable.h"
#include "SystemLog.h"
#include "Theme.h"
#include "ui_QenDetailWindow.h"

#include <QCloseEvent>
#include <QKeyEvent>
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

QenDetailWindow::QenDetailWindow(SessionViewWorld world, StartCheckLoginDelegate& delegate, QWidget* parent)
    : BaseWindowController(
          parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_world(std::move(world)), m_startCheckLoginDelegate(delegate), m_ui(std::make_unique<Ui::QenDetailWindow>()),
      m_gate(MainThreadGate::make()), m_reachability(m_world.networkReader),
      m_requests(std::make_shared<Platform::SerialQueue>(Deployment::LoginQueueLabel)), m_alertTip(new QLabel(this)) {
    m_ui->setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(parent ? Qt::WindowModal : Qt::ApplicationModal);
    setFixedSize(Theme::LoginWindowSize);
    setAccessibleName(u"登录"_s);
    m_ui->devicePanel->setFixedWidth(Theme::LoginWindowSize.width() / 3);
    m_ui->confirmBtn->setText(localizedString(u"Login"_s));
    m_ui->loginStatusLab->setText(ScanWanted);
    m_ui->hintLab->hide();
    m_ui->newPasswordHintLab->hide();
    m_ui->newPasswordField->edit()->setPlaceholderText(u"8 至 32 位，含字母、数字和符号"_s);
    m_ui->signedInPicture->setPixmap(
        Theme::picture(u"avatar_safe_normal"_s, {AvatarSize, AvatarSize}, devicePixelRatioF()));
    m_alertTip->setObjectName(u"alertTip"_s);
    m_alertTip->hide();
    m_alertTipEnd.setSingleShot(true);
    for (QAbstractButton* button : findChildren<QAbstractButton*>()) {
        if (button->accessibleName().isEmpty())
            button->setAccessibleName(button->text());
    }
    connectPages();
}

QenDetailWindow::~QenDetailWindow() {
    m_gate->close();
    m_observer = {};
    m_GDCheckQRTimer.reset();
    m_GDCheckLoginTimer.reset();
    PollTimer::retire(std::move(m_timerCheckQueue));
    PollTimer::retire(std::move(m_requests));
}

void QenDetailWindow::connectPages() {
    using Self = QenDetailWindow;
    // No button group: Tab would pass by one of its members.
    // Not on the click: who works by the accessibility bus toggles.
    connect(m_ui->qrTabBtn, &QToolButton::toggled, this, [this] { selectPage(QRPage); });
    connect(m_ui->accountTabBtn, &QToolButton::toggled, this, [this] { selectPage(AccountPage); });
    connect(m_ui->qrCodeView, &QRCodeView::wantsRenewal, this, &Self::StartCheckQR);
    connect(m_ui->confirmBtn, &QPushButton::clicked, this, &Self::tapConfirmBtn);
    for (FormField* field : {m_ui->accountField, m_ui->passwordField, m_ui->otpField})
        connect(field->edit(), &QLineEdit::returnPressed, this, &Self::tapConfirmBtn);
    connect(m_ui->newPasswordField->edit(), &QLineEdit::returnPressed, this, &Self::resetPassBtn);
    connect(m_ui->repeatedPasswordField->edit(), &QLineEdit::returnPressed, this, &Self::ConfirmResetPassBtn);
    connect(m_ui->confirmResetBtn, &QPushButton::clicked, this, &Self::ConfirmResetPassBtn);
    connect(m_ui->resetBackBtn, &QPushButton::clicked, this, [this] { selectPage(AccountPage); });
    connect(m_ui->logoutBtn, &QPushButton::clicked, this, &Self::logoutBtn);
    connect(m_ui->deviceNameRow, &DeviceFactRow::copyPressed, this, &Self::copyDeviceName);
    connect(m_ui->deviceTypeRow, &DeviceFactRow::copyPressed, this, &Self::copyDeviceType);
    connect(m_ui->systemVersionRow, &DeviceFactRow::copyPressed, this, &Self::copySystemVersion);
    connect(m_ui->clientVersionRow, &DeviceFactRow::copyPressed, this, &Self::copyMacVersion);
    connect(m_ui->ipAddressRow, &DeviceFactRow::copyPressed, this, &Self::copyIPAddress);
    connect(m_ui->macAddressRow, &DeviceFactRow::copyPressed, this, &Self::copyMacAddress);
    connect(&m_alertTipEnd, &QTimer::timeout, m_alertTip, &QWidget::hide);
}

void QenDetailWindow::windowDidLoad() {
    BaseWindowController::windowDidLoad();
    loadDevicePanel();
    followNetwork();
    buildTabs();
    if (isShownSignedIn())
        selectPage(SignedInPage);
    else
        StartCheckQR();
    // The poll is also what tells the server of a sign-out that found no network.
    if (!isShownSignedIn() || isSignOutPending())
        m_startCheckLoginDelegate.StartCheckLogin();
    createCheckLoginTimer();
    m_observer = m_world.center.observe(
        ClientNotification::QRLoginState, [this](const Platform::Notification& told) { refreshLb(told); });
}

bool QenDetailWindow::isShownSignedIn() const {
    return m_world.login.iflogin() && m_world.login.isCheckAndShow();
}

bool QenDetailWindow::isSignOutPending() const {
    const auto record = AccountModel::currentModel(m_world.applicationSupport);
    return record && record->islogout() == 1;
}

void QenDetailWindow::buildTabs() {
    const bool isAccountOnly = m_world.login.selectBtnTag() == OnlyAccount;
    m_ui->qrTabBtn->setVisible(!isAccountOnly);
    m_ui->otpField->setVisible(m_world.login.iShowOTP());
    selectPage(isAccountOnly ? AccountPage : QRPage);
}

void QenDetailWindow::selectPage(Page page) {
    m_isresetPassword = page == ResetPage;
    m_ui->loginPages->setCurrentIndex(page);
    m_ui->tabRow->setVisible(page == QRPage || page == AccountPage);
    const QSignalBlocker qrBlocker(m_ui->qrTabBtn);
    const QSignalBlocker accountBlocker(m_ui->accountTabBtn);
    m_ui->qrTabBtn->setChecked(page == QRPage);
    m_ui->accountTabBtn->setChecked(page == AccountPage);
    if (page == AccountPage)
        m_ui->accountField->setFocus();
    else if (page == QRPage)
        m_ui->qrTabBtn->setFocus();
    else if (page == SignedInPage) {
        const auto record = AccountModel::currentModel(m_world.applicationSupport).value_or(AccountModel());
        m_ui->signedInName->setText(record.username().isEmpty() ? record.userid() : record.username());
        m_ui->logoutBtn->setBusy(false);
        m_ui->logoutBtn->setFocus();
    }
}

void QenDetailWindow::followNetwork() {
    // Not on this thread: the server's address stands in a file.
    Platform::globalQueue().async([this, gate = m_gate, &config = m_world.config] {
        config.readServerConfig();
        gate->async([this, server = config.AcountIP_Config()] {
            m_reachability.setTarget(server);
            m_reachability.start([this](Platform::ReachabilityStatus status) {
                m_ui->qrCodeView->setOffline(status == Platform::ReachabilityStatus::NotReachable);
            });
        });
    });
}

void QenDetailWindow::createCheckQRTimer() {
    if (!m_timerCheckQueue)
        m_timerCheckQueue = std::make_shared<Platform::SerialQueue>(Deployment::AccountCheckQueueLabel);
    // A code without this device's sole identifier could not be told from another's.
    m_timerCheckQueue->async([&login = m_world.login] { login.createSoleidAndSave(); });
    const auto RefreshQR = [this, gate = m_gate, &login = m_world.login] {
        gate->async([this] { m_ui->qrCodeView->setRenewing(true); });
        // Waits for up to three seconds, in which the window may go.
        const QImage image = login.getCurrentQR(QRCodeView::CodeSide);
        gate->runAndWait([this, image] { showQR(image); });
    };
    m_GDCheckQRTimer = std::make_unique<PollTimer>(m_timerCheckQueue, m_world.codeInterval, RefreshQR);
}

void QenDetailWindow::StartCheckQR() {
    closeCheckQR();
    createCheckQRTimer();
}

void QenDetailWindow::closeCheckQR() {
    m_GDCheckQRTimer.reset();
}

void QenDetailWindow::createCheckLoginTimer() {
    if (!m_timerCheckQueue)
        m_timerCheckQueue = std::make_shared<Platform::SerialQueue>(Deployment::AccountCheckQueueLabel);
    // Only writes this line, on purpose: the login state arrives by notification.
    m_GDCheckLoginTimer = std::make_unique<PollTimer>(
        m_timerCheckQueue, m_world.consoleInterval, [] { Platform::systemLog(u"login,login"_s); });
}

void QenDetailWindow::showQR(const QImage& image) {
    m_ui->qrCodeView->setRenewing(false);
    m_ui->qrCodeView->setImage(image);
}

void QenDetailWindow::refreshLb(const Platform::Notification& notification) {
    // Any thread may post; a notification without a number tells no state.
    if (const auto state = integerValue(notification.object))
        m_gate->async([this, value = *state] { showState(value); });
}

void QenDetailWindow::showState(qint64 state) {
    const QRStateLook look = qrStateLook(state);
    if (look.isDone) {
        refreshUI();
        m_startCheckLoginDelegate.closeDetailWindow(this);
        return;
    }
    m_ui->loginStatusLab->setText(look.text);
    m_ui->hintLab->setText(ScanHint);
    m_ui->hintLab->setVisible(look.hint);
}

void QenDetailWindow::refreshUI() {
    closeCheckQR();
    clearSecrets();
    selectPage(SignedInPage);
    m_world.application.setItemsHiddenMenu();
    m_startCheckLoginDelegate.loginCompleted();
}

void QenDetailWindow::clearSecrets() {
    for (FormField* field : {m_ui->passwordField, m_ui->otpField, m_ui->newPasswordField, m_ui->repeatedPasswordField})
        field->clear();
}

void QenDetailWindow::showSignedOut() {
    m_ui->loginStatusLab->setText(ScanWanted);
    m_ui->hintLab->hide();
    buildTabs();
    StartCheckQR();
    m_startCheckLoginDelegate.StartCheckLogin();
}

void QenDetailWindow::sessionEnded() {
    if (m_ui->loginPages->currentIndex() == SignedInPage)
        showSignedOut();
}

void QenDetailWindow::tipText(const QString& text) {
    showAlertTipForLogin(text);
}

void QenDetailWindow::showAlertTipForLogin(const QString& text) {
    if (text.isEmpty())
        return;
    m_gate->async([this, text] {
        // Over this window, which blocks the one below.
        auto* box = new CustomMessageBox(this);
        box->setTitle(localizedString(u"Warnning"_s), text, CustomMessageBox::BoxStyle::Warning, {},
            localizedString(u"Confirm"_s));
        box->attach();
    });
}

void QenDetailWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else
        BaseWindowController::keyPressEvent(event);
}

void QenDetailWindow::closeEvent(QCloseEvent* event) {
    closeCheckQR();
    m_GDCheckLoginTimer.reset();
    stopObserving();
    BaseWindowController::closeEvent(event);
    Q_EMIT closed();
}
