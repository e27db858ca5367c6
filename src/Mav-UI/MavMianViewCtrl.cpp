#include "MavMianViewCtrl.h"

#include "AccountModel.h"
#include "ApplicationInterface.h"
#include "ClientNotifications.h"
#include "Deployment.h"
#include "IntegerValue.h"
#include "LogRedaction.h"
#include "LoginVerdict.h"
#include "MavLoginStateViewCtrl.h"
#include "MavNavigationViewCtrl.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "ServerAddress.h"
#include "StringTable.h"
#include "Theme.h"
#include "UserDefaults.h"
#include "ui_MavMianViewCtrl.h"

#include <QFile>
#include <QLineEdit>
#include <QPointer>
#include <QShowEvent>

using namespace Qt::StringLiterals;

namespace {

const QString FirstInstallMark = u"firstInstallMark"_s;
constexpr qint64 TicketTimedOut = 2;
constexpr qint64 SignedInState = 0;
constexpr int MarkSize = 64;

} // namespace

MavMianViewCtrl::MavMianViewCtrl(MainViewWorld world, QWidget* parent)
    : QWidget(parent), m_world(std::move(world)), m_ui(std::make_unique<Ui::MavMianViewCtrl>()) {
    m_ui->setupUi(this);
    awakeFromNib();
}

MavMianViewCtrl::~MavMianViewCtrl() {
    m_world.login.setLoginBlock({});
    m_observers.clear();
}

void MavMianViewCtrl::awakeFromNib() {
    if (m_world.login.iflogin())
        StartCheckTicketStatus();
    initBttonSatus();
    selectTableItem();
    // A session of the computer's domain needs no ticket, so no poll would confirm it.
    if (m_world.login.isDomainAutoLogin())
        selectPage(SignedInPage);
    addNotifications();
}

void MavMianViewCtrl::initBttonSatus() {
    m_ui->serverMark->setPixmap(Theme::picture(u"mark"_s, {MarkSize, MarkSize}, devicePixelRatioF()));
    m_ui->saveServerBtn->setText(localizedString(u"ConfigureServer"_s));
    m_ui->saveServerBtn->setAccessibleName(m_ui->saveServerBtn->text());
    m_ui->serverNoteLab->hide();
    connect(m_ui->saveServerBtn, &QPushButton::clicked, this, &MavMianViewCtrl::setingSeverBtton);
    for (FormField* field : {m_ui->domainOrIPLabField, m_ui->PortLabField})
        connect(field->edit(), &QLineEdit::returnPressed, this, &MavMianViewCtrl::setingSeverBtton);
}

void MavMianViewCtrl::initLoadViews(Page page) {
    if (page == LoginPage)
        loginViewCtrl();
    else if (page == SignedInPage)
        NavigationViewCtrl();
}

MavLoginStateViewCtrl& MavMianViewCtrl::loginViewCtrl() {
    if (!m_loginViewCtrl) {
        m_loginViewCtrl = new MavLoginStateViewCtrl(m_world, this);
        m_loginViewCtrl->setTapLoginBlock([this] { selectPage(SignedInPage); });
        connect(m_loginViewCtrl, &MavLoginStateViewCtrl::wantsServerPage, this, &MavMianViewCtrl::selectTableItem);
        m_ui->loginHostLayout->addWidget(m_loginViewCtrl);
    }
    return *m_loginViewCtrl;
}

MavNavigationViewCtrl& MavMianViewCtrl::NavigationViewCtrl() {
    if (!m_navigationViewCtrl) {
        m_navigationViewCtrl = new MavNavigationViewCtrl(m_world, this);
        m_ui->navigationHostLayout->addWidget(m_navigationViewCtrl);
    }
    return *m_navigationViewCtrl;
}

Platform::SerialQueue& MavMianViewCtrl::timerCheckQueue() {
    if (!m_timerCheckQueue)
        m_timerCheckQueue = std::make_unique<Platform::SerialQueue>(Deployment::AccountCheckQueueLabel);
    return *m_timerCheckQueue;
}

void MavMianViewCtrl::addNotifications() {
    // A session that the server ends raises no notification: its record is gone before anybody could read it.
    m_world.login.setLoginBlock([view = QPointer(this)](bool signedIn) {
        if (signedIn)
            return;
        Platform::mainQueue().async([view] {
            if (view)
                view->selectTableItem();
        });
    });
    m_observers.push_back(m_world.center.observe(
        ClientNotification::Logout, [this](const Platform::Notification&) { UpdateTableView(); }));
    m_observers.push_back(m_world.center.observe(ClientNotification::TicketTimeOut,
        [this](const Platform::Notification& notification) { exitAccount(notification); }));
    m_observers.push_back(m_world.center.observe(
        ClientNotification::DomainSession, [this](const Platform::Notification&) { showSignedIn(); }));
    m_observers.push_back(m_world.center.observe(
        ClientNotification::QRLoginState, [view = QPointer(this)](const Platform::Notification& notification) {
            if (integerValue(notification.object) != SignedInState)
                return;
            Platform::mainQueue().async([view] {
                if (view)
                    view->showSignedIn();
            });
        }));
}

void MavMianViewCtrl::selectPage(Page page) {
    initLoadViews(page);
    m_ui->mianTabView->setCurrentIndex(page);
    if (page == ServerPage)
        m_ui->domainOrIPLabField->setFocus();
    if (page == SignedInPage) {
        NavigationViewCtrl().setFocus();
        NavigationViewCtrl().refresh();
    }
}

void MavMianViewCtrl::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The keyboard starts in the page, not in the title area.
    if (!event->spontaneous() && m_ui->mianTabView->currentIndex() == ServerPage)
        m_ui->domainOrIPLabField->setFocus();
}

void MavMianViewCtrl::selectTableItem() {
    if (!m_world.defaults.boolForKey(FirstInstallMark)) {
        m_world.defaults.setBool(true, FirstInstallMark);
        m_world.defaults.synchronize();
    } else if (QFile::exists(m_world.agentState + u"/.QenConfig"_s)) {
        m_world.config.readServerConfig();
        m_ui->domainOrIPLabField->setText(m_world.config.extranet_server());
        m_ui->PortLabField->setText(QString::number(m_world.config.extranet_port()));
    }
    selectPage(ServerPage);
}

void MavMianViewCtrl::UpdateTableView() {
    Platform::mainQueue().async([guard = QPointer(this)] {
        MavMianViewCtrl* view = guard.data();
        if (!view)
            return;
        view->selectTableItem();
        // The notice of a domain session's record comes without an object and ends nobody's session.
        if (view->m_world.login.isDomainAutoLogin())
            view->selectPage(SignedInPage);
    });
}

void MavMianViewCtrl::exitAccount(const Platform::Notification& notification) {
    if (integerValue(notification.object) == TicketTimedOut) {
        AccountModel::deleteCurrentModel(m_world.applicationSupport);
        m_world.login.createSoleidAndSave();
        m_world.login.existZelVPN();
        tipText(localizedString(u"TicketTips"_s));
    }
    UpdateTableView();
}

void MavMianViewCtrl::tipText(const QString& text) {
    m_world.application.showAlertTipForLogin(text);
}

void MavMianViewCtrl::setingSeverBtton() {
    if (m_ui->saveServerBtn->isBusy())
        return;
    m_ui->domainOrIPLabField->clearError();
    m_ui->PortLabField->clearError();
    m_ui->serverNoteLab->hide();

    const QString address = m_ui->domainOrIPLabField->text();
    const QString port = m_ui->PortLabField->text();
    const ServerAddressFault fault = checkServerAddress(address, port);
    if (fault != ServerAddressFault::None) {
        const bool isPort = fault == ServerAddressFault::Port;
        FormField* field = isPort ? m_ui->PortLabField : m_ui->domainOrIPLabField;
        field->setError(localizedString(isPort ? u"PortIncorrect"_s : u"IPOrDomainNameNonconformance"_s));
        field->setFocus();
        tipText(field->error());
        return;
    }
    const bool saved = saveTypedServer(m_world.applicationSupport, address, port);
    // A failed write is only logged: the probe asks the server of the installation in either case.
    m_world.log.writeLog(saved ? u"设置服务器成功"_s : u"设置服务器失败"_s);
    m_ui->saveServerBtn->setBusy(true);
    Platform::after(Platform::mainQueue(), m_world.probeDelay, [view = QPointer(this)] {
        if (view)
            view->probeServer();
    });
}

void MavMianViewCtrl::probeServer() {
    m_world.login.pingServerToResult([view = QPointer(this)](bool reachable) {
        Platform::mainQueue().async([view, reachable] {
            if (view)
                view->showProbeResult(reachable);
        });
    });
}

void MavMianViewCtrl::showProbeResult(bool reachable) {
    m_ui->saveServerBtn->setBusy(false);
    if (!reachable) {
        const QString text = localizedString(u"ConnectServerFailed"_s);
        m_ui->serverNoteLab->setText(text);
        m_ui->serverNoteLab->show();
        tipText(text);
        return;
    }
    // The ticket poll may have been faster; its page is not left for the login page.
    if (m_ui->mianTabView->currentIndex() == ServerPage) {
        loginViewCtrl().selectLoginTypeTableView(MavLoginStateViewCtrl::AccountPage);
        selectPage(LoginPage);
    }
}

void MavMianViewCtrl::StartCheckTicketStatus() {
    closeCheckTicketStatus();
    createCheckTicketTimer();
}

void MavMianViewCtrl::closeCheckTicketStatus() {
    m_ticketCheckTimer.reset();
}

void MavMianViewCtrl::createCheckTicketTimer() {
    m_ticketCheckTimer =
        std::make_unique<Platform::DispatchTimer>(timerCheckQueue(), m_world.ticketInterval, [this] { checkTicket(); });
    m_ticketCheckTimer->start();
}

void MavMianViewCtrl::checkTicket() {
    if (!m_world.login.iflogin())
        return;
    m_world.login.checkTicketStatus([view = QPointer(this), &log = m_world.log](
                                        const QJsonObject& answer, const Platform::Error& error) {
        if (error) {
            log.writeLog(u"[QenDetailWindow] QenCloud Check ticket error:%1"_s.arg(error.localizedDescription()));
            return;
        }
        log.writeLog(u"[QenDetailWindow] QenCloud Check ticket response msg:%1"_s.arg(redacted(answer.value(u"msg"))));
        if (!confirmsTicket(answer))
            return;
        Platform::mainQueue().async([view] {
            if (view)
                view->showTicketConfirmed();
        });
    });
}

void MavMianViewCtrl::showSignedIn() {
    const bool isSignedIn = m_world.login.iflogin() || m_world.login.isDomainAutoLogin();
    if (!isSignedIn)
        return;
    if (m_loginViewCtrl)
        m_loginViewCtrl->selectLoginTypeTableView(MavLoginStateViewCtrl::AccountPage);
    selectPage(SignedInPage);
}

void MavMianViewCtrl::showTicketConfirmed() {
    // An answer that was on its way while the user signed out confirms nothing any more.
    if (!m_ticketCheckTimer || !m_world.login.iflogin())
        return;
    closeCheckTicketStatus();
    selectPage(SignedInPage);
}
