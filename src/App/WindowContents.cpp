#include "WindowContents.h"

#include "AppDelegate.h"
#include "Client.h"
#include "Deployment.h"
#include "QenMainLeftBar.h"
#include "QenMainViewController.h"

WindowContents::WindowContents(Client& client, AppDelegate& delegate, QWidget& window,
    Platform::Reachability& reachability, Platform::BusConnection& bus)
    : m_client(client), m_delegate(delegate), m_window(window), m_reachability(reachability),
      m_notifications(Deployment::BundleIdentifier, bus, &client.defaults),
      m_restartOffer({.log = [&client](const QString& line, int type) { client.log.writeLog(line, type); },
          .center = client.center,
          .notifications = m_notifications}),
      m_networkPolicy({.log = client.log,
          .center = client.center,
          .networkAccess = client.networkAccess,
          .localCerAuthMethod = [&client] { return client.nac.localCerAuthMethod(); },
          .session = client.session,
          .agentState = client.agentState}) {}

MainViewWorld WindowContents::world() {
    return {.application = m_delegate,
        .login = m_client.login,
        .config = m_client.config,
        .log = m_client.log,
        .center = m_client.center,
        .defaults = m_client.defaults,
        .reachability = m_reachability,
        .work = m_client.work,
        .applicationSupport = m_client.applicationSupport,
        .agentState = m_client.agentState,
        .openDetailWindow = [this](QWidget* over) { leftBar()->openDetailWindow(over); },
        .leftBar = [this] { return leftBar(); },
        .mainView = [this] { return mainView(); }};
}

void WindowContents::start() {
    m_notifications.removeEarlier();
    // From the window's content to the probe for a domain session.
    constexpr std::chrono::seconds DomainProbeDelay(3);
    Platform::after(Platform::mainQueue(), DomainProbeDelay, [&check = m_client.check] { check.checkDomainLogin(); });
    QObject::connect(&m_client.session, &Session::changed, &m_window, [this] { reportSignOut(); });
    reportSignOut();
}

void WindowContents::reportSignOut() {
    // The poll that reports it belongs to the left bar.
    if (m_client.session.state() == SessionState::LogoutPending)
        leftBar();
}

QenMainLeftBar* WindowContents::leftBar() {
    if (!m_leftBar) {
        m_leftBar = new QenMainLeftBar({.application = m_delegate,
                                           .login = m_client.login,
                                           .config = m_client.config,
                                           .device = m_client.device,
                                           .log = m_client.log,
                                           .center = m_client.center,
                                           .work = m_client.work},
            &m_window);
        m_leftBar->hide();
    }
    return m_leftBar;
}

QenMainViewController* WindowContents::mainView() {
    if (!m_mainView) {
        m_mainView = new QenMainViewController(
            {.login = m_client.login,
                .log = m_client.log,
                .center = m_client.center,
                .workspace = m_workspace,
                .agentState = m_client.agentState,
                .round = m_client.round(),
                .joinDomain = JoinDomainAction::World::standard(),
                .openHelp = [this](const QString& tag, const QWidget*) { m_delegate.showHelpTopic(tag); }},
            *leftBar(), &m_window);
        m_mainView->hide();
    }
    return m_mainView;
}
