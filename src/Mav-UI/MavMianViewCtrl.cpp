#include "MavMianViewCtrl.h"

#include "AnswerVerdict.h"
#include "ApplicationInterface.h"
#include "ClientNotifications.h"
#include "Deployment.h"
#include "IntegerValue.h"
#include "MavLoginStateViewCtrl.h"
#include "MavNavigationViewCtrl.h"
#include "MavServerSetingWinCtrl.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "StateFiles.h"
#include "StringTable.h"
#include "Theme.h"
#include "UserDefaults.h"

#include <QFile>
#include <QLineEdit>
#include <QShowEvent>

using namespace Qt::StringLiterals;

namespace {

const QString FirstInstallMark = u"firstInstallMark"_s;
constexpr int MarkSize = 64;

} // namespace

MavMianViewCtrl::MavMianViewCtrl(MainViewWorld world, QWidget* parent)
    : QWidget(parent), m_world(std::move(world)),
      m_timerCheckQueue(PollTimer::makeQueue(Deployment::AccountCheckQueueLabel, m_world.work)) {
    m_ui.setupUi(this);
    awakeFromNib();
}

void MavMianViewCtrl::awakeFromNib() {
    const SessionState state = m_world.login.session().state();
    // A session of the computer's domain has no ticket to confirm.
    if (state != SessionState::SignedOut && state != SessionState::Domain)
        StartCheckTicketStatus();
    initBttonSatus();
    selectTableItem();
    if (state == SessionState::Domain)
        selectPage(SignedInPage);
    addNotifications();
}

void MavMianViewCtrl::initBttonSatus() {
    Theme::setPicture(m_ui.serverMark, u"mark"_s, MarkSize);
    m_ui.saveServerBtn->setText(localizedString(u"ConfigureServer"_s));
    connect(m_ui.saveServerBtn, &QPushButton::clicked, this, &MavMianViewCtrl::setingSeverBtton);
    for (FormField* field : {m_ui.domainOrIPLabField, m_ui.PortLabField})
        connect(field->edit(), &QLineEdit::returnPressed, this, &MavMianViewCtrl::setingSeverBtton);
}

void MavMianViewCtrl::initLoadViews(Page page) {
    if (page == LoginPage && !m_loginViewCtrl) {
        m_loginViewCtrl = new MavLoginStateViewCtrl(m_world, this);
        m_loginViewCtrl->setTapLoginBlock([this] {
            // The session has been faster, mostly: the person may be at work on the page already.
            if (m_ui.mianTabView->currentIndex() != SignedInPage)
                selectPage(SignedInPage);
        });
        connect(m_loginViewCtrl, &MavLoginStateViewCtrl::wantsServerPage, this, &MavMianViewCtrl::selectTableItem);
        m_ui.loginHostLayout->addWidget(m_loginViewCtrl);
    } else if (page == SignedInPage && !m_NavigationViewCtrl) {
        m_NavigationViewCtrl = new MavNavigationViewCtrl(m_world, this);
        m_ui.navigationHostLayout->addWidget(m_NavigationViewCtrl);
    }
}

void MavMianViewCtrl::addNotifications() {
    m_logout = m_world.center.observe(ClientNotification::Logout,
        [this](const Platform::Notification&) { UpdateTableView(m_world.login.session().asked()); });
    m_timeOut = m_world.center.observe(ClientNotification::TicketTimeOut,
        [this](const Platform::Notification& notification) { exitAccount(notification); });
    connect(&m_world.login.session(), &Session::changed, this, &MavMianViewCtrl::sessionChanged);
}

void MavMianViewCtrl::sessionChanged(SessionState old, SessionState now, SessionReason why) {
    if (now == SessionState::Unconfirmed)
        StartCheckTicketStatus();
    else if (now != SessionState::LogoutPending)
        closeCheckTicketStatus();
    if (now == SessionState::LogoutPending)
        showPendingSignOut();
    const bool isNew = old != now || why == SessionReason::SignedIn;
    if (isNew && now == SessionState::SignedOut)
        selectTableItem();
    else if (isNew && (now == SessionState::Confirmed || now == SessionState::Domain))
        showSignedIn();
    if (why == SessionReason::EndedByServer)
        tipText(localizedString(u"SessionEnded"_s));
    else if (why == SessionReason::TimedOut)
        tipText(localizedString(u"TicketTips"_s));
}

void MavMianViewCtrl::selectPage(Page page) {
    initLoadViews(page);
    m_ui.mianTabView->setCurrentIndex(page);
    if (page == ServerPage)
        m_ui.domainOrIPLabField->setFocus();
    if (page == SignedInPage) {
        m_NavigationViewCtrl->setFocus();
        m_NavigationViewCtrl->refresh();
    }
}

void MavMianViewCtrl::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The keyboard starts in the page, not in the title area.
    if (!event->spontaneous() && m_ui.mianTabView->currentIndex() == ServerPage)
        m_ui.domainOrIPLabField->setFocus();
}

void MavMianViewCtrl::selectTableItem() {
    if (!m_world.defaults.boolForKey(FirstInstallMark)) {
        m_world.defaults.setBool(true, FirstInstallMark);
    } else if (QFile::exists(m_world.agentState + u'/' + StateFiles::ServerList)) {
        m_world.config.readServerConfig();
        m_ui.domainOrIPLabField->setText(m_world.config.extranet_server());
        m_ui.PortLabField->setText(QString::number(m_world.config.extranet_port()));
    }
    selectPage(ServerPage);
    showPendingSignOut();
}

void MavMianViewCtrl::showPendingSignOut() {
    const bool isPending = m_world.login.session().state() == SessionState::LogoutPending;
    m_ui.serverNoteLab->setText(isPending ? localizedString(u"SignOutPending"_s) : QString());
    m_ui.serverNoteLab->setVisible(isPending);
}

void MavMianViewCtrl::UpdateTableView(const AskedFor& asked) {
    m_answers.async([this, asked] {
        const SessionModel& now = m_world.login.session().shown();
        // The notice of a domain session's record comes without an object and ends nobody's session.
        if (now.asked.signIn == asked.signIn && now.state() != SessionState::Domain)
            selectTableItem();
    });
}

void MavMianViewCtrl::exitAccount(const Platform::Notification& notification) {
    Session& session = m_world.login.session();
    const AskedFor asked = session.asked();
    if (integerValue(notification.object) == static_cast<qint64>(TicketState::TimedOut))
        session.submit(TicketTimeOut{asked});
    UpdateTableView(asked);
}

void MavMianViewCtrl::tipText(const QString& text) {
    m_world.application.showAlertTipForLogin(text);
}

void MavMianViewCtrl::setingSeverBtton() {
    if (m_ui.saveServerBtn->isBusy())
        return;
    m_ui.domainOrIPLabField->clearError();
    m_ui.PortLabField->clearError();
    m_ui.serverNoteLab->hide();

    const TypedServer typed{m_ui.domainOrIPLabField->text(), m_ui.PortLabField->text()};
    const TypedServer::Fault fault = typed.fault();
    if (fault != TypedServer::Fault::None) {
        const bool isPort = fault == TypedServer::Fault::Port;
        FormField* field = isPort ? m_ui.PortLabField : m_ui.domainOrIPLabField;
        field->setError(localizedString(isPort ? u"PortIncorrect"_s : u"IPOrDomainNameNonconformance"_s));
        field->setFocus();
        tipText(field->error());
        return;
    }
    const bool saved = typed.save(m_world.applicationSupport);
    // A failed write is only logged: the probe asks the server of the installation in either case.
    m_world.log.writeLog(saved ? u"设置服务器成功"_s : u"设置服务器失败"_s);
    m_ui.saveServerBtn->setBusy(true);
    Platform::after(Platform::mainQueue(), m_world.probeDelay, m_answers.wrapped([this] {
        m_world.login.pingServerToResult({m_answers, [this](bool reachable) { showProbeResult(reachable); }});
    }));
}

void MavMianViewCtrl::showProbeResult(bool reachable) {
    m_ui.saveServerBtn->setBusy(false);
    if (!reachable) {
        const QString text = localizedString(u"ConnectServerFailed"_s);
        m_ui.serverNoteLab->setText(text);
        m_ui.serverNoteLab->show();
        tipText(text);
        return;
    }
    // The ticket poll may have been faster; its page is not left for the login page.
    if (m_ui.mianTabView->currentIndex() == ServerPage) {
        selectPage(LoginPage);
        m_loginViewCtrl->selectLoginTypeTableView(MavLoginStateViewCtrl::AccountPage);
    }
}

void MavMianViewCtrl::StartCheckTicketStatus() {
    closeCheckTicketStatus();
    createCheckTicketTimer();
}

void MavMianViewCtrl::closeCheckTicketStatus() {
    m_TicketCheckTimer.reset();
}

void MavMianViewCtrl::createCheckTicketTimer() {
    const auto tick = [&login = m_world.login, &log = m_world.log] {
        if (!login.iflogin())
            return;
        // What the answer means, the session tells.
        login.checkTicketStatus([&log](const QJsonObject& answer, const Platform::Error& error) {
            log.writeLog(ticketPollLine(answer, error));
        });
    };
    m_TicketCheckTimer = std::make_unique<PollTimer>(m_timerCheckQueue, m_world.ticketInterval, tick);
}

void MavMianViewCtrl::showSignedIn() {
    if (m_loginViewCtrl)
        m_loginViewCtrl->selectLoginTypeTableView(MavLoginStateViewCtrl::AccountPage);
    selectPage(SignedInPage);
}
