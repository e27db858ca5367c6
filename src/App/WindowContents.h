#pragma once

#include "MainViewWorld.h"
#include "NetworkPolicyFollower.h"
#include "RestartOffer.h"
#include "UserNotifications.h"
#include "Workspace.h"

#include <QPointer>

class AppDelegate;
class QenMainLeftBar;
struct Client;

/// Makes what the main window shows from the running client's services, each piece when it is first asked for, and
/// starts what the window owes a person who has not signed in. Main thread.
class WindowContents final {
public:
    /// All of them outlive this object.
    WindowContents(Client& client, AppDelegate& delegate, QWidget& window, Platform::Reachability& reachability,
        Platform::BusConnection& bus);

    /// The window's content.
    MainViewWorld world();
    /// Probes for a domain session a little later, and takes back what an earlier run left on the desktop.
    void start();
    /// Takes back what stands open on the desktop.
    void withdraw() { m_restartOffer.removeScheduled(); }

private:
    /// A sign-out that is still to be reported is reported whether or not anything is shown.
    void reportSignOut();
    QenMainLeftBar* leftBar();
    QenMainViewController* mainView();

    Client& m_client;
    AppDelegate& m_delegate;
    QWidget& m_window;
    Platform::Reachability& m_reachability;
    Platform::Workspace m_workspace;
    Platform::UserNotifications m_notifications;
    RestartOffer m_restartOffer;
    NetworkPolicyFollower m_networkPolicy;
    QPointer<QenMainLeftBar> m_leftBar;
    QPointer<QenMainViewController> m_mainView;
};
