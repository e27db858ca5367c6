#include "WindowContents.h"

#include "AppDelegate.h"
#include "Deployment.h"
#include "ITDevice.h"
#include "NetworkAccess.h"
#include "Paths.h"
#include "QenCheck.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenMainLeftBar.h"
#include "QenMainViewController.h"
#include "QenServerConfig.h"
#include "UserDefaults.h"
#include "iNacManager.h"

namespace {

/// From the window's content to the probe for a domain session.
constexpr std::chrono::seconds DomainProbeDelay(3);

} // namespace

WindowContents::WindowContents(AppDelegate& delegate, QWidget& window, Platform::Reachability& reachability,
    Platform::UserDefaults& defaults, Platform::BusConnection& bus)
    : m_delegate(delegate), m_window(window), m_reachability(reachability), m_defaults(defaults),
      m_notifications(Deployment::BundleIdentifier, bus, &defaults),
      m_restartOffer({.log = [](const QString& line, int type) { QenLogHelper::sharedInstance().writeLog(line, type); },
          .center = Platform::NotificationCenter::defaultCenter(),
          .notifications = m_notifications}),
      m_networkPolicy({.log = QenLogHelper::sharedInstance(),
          .center = Platform::NotificationCenter::defaultCenter(),
          .networkAccess = NetworkAccess::sharedInstance(),
          .localCerAuthMethod = [] { return iNacManager::sharedInstance().localCerAuthMethod(); },
          .applicationSupport = Platform::Paths::applicationSupport(),
          .agentState = Platform::Paths::agentState()}) {}

MainViewWorld WindowContents::world() {
    MainViewWorld world{m_delegate, QenCloudLoginHelper::sharedInstance(), QenServerConfig::sharedInstance(),
        QenLogHelper::sharedInstance(), Platform::NotificationCenter::defaultCenter(), m_defaults, m_reachability,
        Platform::Paths::applicationSupport(), Platform::Paths::agentState()};
    world.openDetailWindow = [this](QWidget* over) { leftBar()->openDetailWindow(over); };
    world.leftBar = [this] { return leftBar(); };
    world.mainView = [this] { return mainView(); };
    return world;
}

void WindowContents::start() {
    m_notifications.removeEarlier();
    Platform::after(Platform::mainQueue(), DomainProbeDelay, [] { QenCheck::sharedInstance().checkDomainLogin(); });
}

QenMainLeftBar* WindowContents::leftBar() {
    if (!m_leftBar) {
        m_leftBar = new QenMainLeftBar(
            {m_delegate, QenCloudLoginHelper::sharedInstance(), QenServerConfig::sharedInstance(),
                ITDevice::currentDevice(), QenLogHelper::sharedInstance(),
                Platform::NotificationCenter::defaultCenter(), Platform::Paths::applicationSupport()},
            &m_window);
        m_leftBar->hide();
    }
    return m_leftBar;
}

QenMainViewController* WindowContents::mainView() {
    if (!m_mainView) {
        m_mainView = new QenMainViewController(
            {.login = QenCloudLoginHelper::sharedInstance(),
                .log = QenLogHelper::sharedInstance(),
                .center = Platform::NotificationCenter::defaultCenter(),
                .workspace = m_workspace,
                .applicationSupport = Platform::Paths::applicationSupport(),
                .agentState = Platform::Paths::agentState(),
                .round = QenCheckRound::clientWorld(),
                .joinDomain = JoinDomainAction::World::standard(),
                .openHelp = [this](const QString& tag, const QWidget*) { m_delegate.showHelpTopic(tag); }},
            *leftBar(), &m_window);
        m_mainView->hide();
    }
    return m_mainView;
}
