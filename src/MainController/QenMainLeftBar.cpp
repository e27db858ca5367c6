#include "QenMainLeftBar.h"

#include "BaseWindowController.h"
#include "ClientNotifications.h"
#include "Deployment.h"
#include "ITDevice.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "Theme.h"

#include <QPainter>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize GroundSize(Theme::LeftBarWidth, 160);
constexpr int SafeLevel = 0;
constexpr int PollingTrace = 32;

} // namespace

QenMainLeftBar::QenMainLeftBar(SessionViewWorld world, QWidget* parent)
    : QWidget(parent), m_world(std::move(world)),
      m_timerCheckQueue(PollTimer::makeQueue(Deployment::AccountCheckQueueLabel, m_world.work)) {
    m_ui.setupUi(this);
    setFixedWidth(Theme::LeftBarWidth);
    Theme::setPicture(m_ui.computerPicture, u"computer"_s, Theme::IconSize, Theme::color(Theme::Color::SecondText));
    m_ui.safetyTabBtn->setIcon(Theme::icon(u"tab_safety_normal"_s, {}, u"tab_safety_hover"_s));
    m_ui.toolsTabBtn->setIcon(Theme::icon(u"tab_tools_normal"_s, {}, u"tab_tools_hover"_s));
    connectButtons();
    functionListHandleWithTag(SafetyTab, false);
    showTabs();
    setUIWithWarnLevel(SafeLevel);
    connect(&m_world.login.session(), &Session::changed, this, &QenMainLeftBar::sessionChanged);
    refreshUserName();
    setMachineName();
    followSession();
}

QenMainLeftBar::~QenMainLeftBar() {
    // The window asks this bar, so it goes first.
    if (m_detailWindow)
        m_detailWindow->disconnect(this);
    delete m_detailWindow.data();
}

QToolButton* QenMainLeftBar::tabButton(int tag) const {
    const std::array<QToolButton*, 3> buttons{m_ui.safetyTabBtn, m_ui.toolsTabBtn, m_ui.detailBtn};
    return tag >= SafetyTab && tag <= DetailTab ? buttons.at(static_cast<size_t>(tag)) : nullptr;
}

void QenMainLeftBar::connectButtons() {
    for (const int tag : {SafetyTab, ToolsTab, DetailTab}) {
        // Not on the click: who works by the accessibility bus toggles.
        connect(tabButton(tag), &QToolButton::toggled, this, [this, tag] { functionListHandleWithTag(tag, true); });
    }
    connect(m_ui.avatarBtn, &QToolButton::clicked, this, [this] { openDetailWindow(window()); });
}

void QenMainLeftBar::openDetailWindow(QWidget* over) {
    if (!m_detailWindow) {
        m_detailWindow = new QenDetailWindow(m_world, *this, over);
        connect(m_detailWindow, &QDialog::finished, this, &QenMainLeftBar::detailWindowClosed);
        if (over)
            m_detailWindow->move(BaseWindowController::originWithin(
                BaseWindowController::areaAround(*over), Theme::LoginWindowSize, over->geometry()));
    }
    BaseWindowController::makeKeyAndOrderFront(*m_detailWindow);
}

void QenMainLeftBar::closeDetailWindow(QenDetailWindow* window) {
    *m_ishowDetailWin = false;
    if (!window)
        return;
    window->stopObserving();
    // It blocks the main window for as long as it is open.
    window->close();
}

void QenMainLeftBar::detailWindowClosed() {
    *m_ishowDetailWin = false;
    m_detailWindow = nullptr;
    followSession();
}

void QenMainLeftBar::sessionChanged() {
    refreshUserName();
    followSession();
}

void QenMainLeftBar::followSession() {
    const SessionState state = m_world.login.session().state();
    // A session of the computer's domain has no ticket to ask about.
    if (state == SessionState::SignedOut || state == SessionState::Domain)
        closeCheckTicketStatus();
    else if (!m_TicketCheckTimer)
        StartCheckTicketStatus();
    const bool isAsking = *m_ishowDetailWin || state == SessionState::LogoutPending;
    if (!isAsking)
        closeCheckLoginStatus();
    else if (!m_GDCheckLoginTimer)
        StartCheckLoginStatus();
}

void QenMainLeftBar::functionListHandleWithTag(int tag, bool isCallback) {
    if (!tabButton(tag))
        return;
    for (const int each : {SafetyTab, ToolsTab, DetailTab}) {
        const QSignalBlocker blocker(tabButton(each));
        tabButton(each)->setChecked(each == tag);
    }
    if (isCallback && m_tabCallback)
        m_tabCallback(tag);
}

void QenMainLeftBar::setTabCallback(std::function<void(int)> callback) {
    m_tabCallback = std::move(callback);
    showTabs();
}

void QenMainLeftBar::setHideDetilBtn(bool hidden) {
    m_hideDetilBtn = hidden;
    showTabs();
}

void QenMainLeftBar::showTabs() {
    for (const int tag : {SafetyTab, ToolsTab, DetailTab})
        tabButton(tag)->setVisible(m_tabCallback && !(tag == DetailTab && m_hideDetilBtn));
}

void QenMainLeftBar::setUIWithWarnLevel(int level) {
    const bool isSafe = level == SafeLevel;
    const QString look = isSafe ? u"safe"_s : u"unsafe"_s;
    m_ground = u"leftBar_"_s + look;
    m_ui.avatarBtn->setIcon(Theme::icon(u"avatar_%1_normal"_s.arg(look), {}, u"avatar_%1_hover"_s.arg(look)));
    // The unhovered picture is the same in both looks, on purpose.
    m_ui.detailBtn->setIcon(Theme::icon(u"detail_safe-nomal"_s, {}, u"detail_%1-hover"_s.arg(look)));
    const QString told = isSafe ? u"电脑安全"_s : u"电脑存在风险"_s;
    m_ui.avatarBtn->setAccessibleDescription(told);
    m_ui.avatarBtn->setToolTip(u"%1，点击查看登录与设备信息"_s.arg(told));
    update();
}

void QenMainLeftBar::refreshUserName() {
    const AccountModel record = m_world.login.session().account().value_or(AccountModel());
    const QString name = record.username().isEmpty() ? record.userid() : record.username();
    m_ui.userNameLab->setText(name.isEmpty() ? u"未登录"_s : name);
}

void QenMainLeftBar::setMachineName() {
    const auto show = m_answers.wrapped([this](const QString& name) { m_ui.computerNameLab->setText(name); });
    m_timerCheckQueue->async([show, &device = m_world.device] { show(device.machineName()); });
}

void QenMainLeftBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Theme::color(Theme::Color::Card));
    painter.drawPixmap(0, 0, Theme::picture(m_ground, GroundSize, devicePixelRatioF()));
    painter.fillRect(width() - 1, 0, 1, height(), Theme::color(Theme::Color::Line));
}

void QenMainLeftBar::StartCheckLogin() {
    m_answers.async([this] {
        // The window may have been closed meanwhile.
        if (m_detailWindow && !m_detailWindow->isShownSignedIn()) {
            *m_ishowDetailWin = true;
            StartCheckLoginStatus();
        }
        setMachineName();
    });
}

void QenMainLeftBar::StartCheckLoginStatus() {
    closeCheckLoginStatus();
    createCheckLoginTimer();
}

void QenMainLeftBar::StartCheckTicketStatus() {
    closeCheckTicketStatus();
    createCheckTicketTimer();
}

void QenMainLeftBar::createCheckLoginTimer() {
    const auto tick = [answered = m_answers.wrapped([this](const QRPollVerdict& verdict) { qrPollAnswered(verdict); }),
                          &login = m_world.login, &log = m_world.log] {
        log.writeLog(u"[QenMainLeftBar] QenCloud Check QRLogin State"_s, PollingTrace);
        login.CheckQRLoginState([answered, &log](const QJsonObject& answer, const Platform::Error& error) {
            const QRPollVerdict verdict = judgeQRPoll(answer, error);
            log.writeLog(verdict.log, verdict.logType);
            answered(verdict);
        });
    };
    m_GDCheckLoginTimer = std::make_unique<PollTimer>(m_timerCheckQueue, m_world.pollInterval, tick);
}

void QenMainLeftBar::qrPollAnswered(const QRPollVerdict& verdict) {
    if (m_detailWindow && !verdict.tells.isEmpty())
        m_detailWindow->showScanFailure(verdict.tells);
    if (!verdict.forwarded)
        return;
    if (*verdict.forwarded == 0) {
        // One that came too late has signed nobody in; a sign-out that waits needs the poll.
        const SessionState state = m_world.login.session().state();
        if (state == SessionState::SignedOut || state == SessionState::LogoutPending)
            return;
        closeCheckLoginStatus();
        m_timerCheckQueue->async([&login = m_world.login] { login.removeSoleID(); });
    }
    m_world.center.post(ClientNotification::QRLoginState, *verdict.forwarded);
}

void QenMainLeftBar::createCheckTicketTimer() {
    const auto confirmed = m_answers.wrapped([this] {
        if (*m_ishowDetailWin && m_world.login.session().state() == SessionState::Confirmed)
            m_world.center.post(ClientNotification::QRLoginState, qint64(0));
    });
    const auto tick = [confirmed, isShown = m_ishowDetailWin, &login = m_world.login, &log = m_world.log] {
        if (!login.iflogin())
            return;
        login.checkTicketStatus([confirmed, isShown, &log](const QJsonObject& answer, const Platform::Error& error) {
            log.writeLog(ticketPollLine(answer, error), 1);
            if (*isShown && !error && ServerAnswer::confirms(answer))
                confirmed();
        });
    };
    m_TicketCheckTimer = std::make_unique<PollTimer>(m_timerCheckQueue, m_world.pollInterval, tick);
}
