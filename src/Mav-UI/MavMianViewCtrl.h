#pragma once

#include "Completion.h"
#include "DispatchTimer.h"
#include "MainViewWorld.h"
#include "NotificationCenter.h"
#include "Queue.h"
#include "Session.h"

#include <QWidget>

#include <memory>
#include <vector>

class MavLoginStateViewCtrl;
class MavNavigationViewCtrl;

namespace Ui {
class MavMianViewCtrl;
}

/// The main window's content: server page, login page, signed-in page.
///
/// Follows the session: moves between them as the user sets the server, signs in, is confirmed by the ticket poll or
/// loses the session, and says why it was lost. Main thread unless stated.
class MavMianViewCtrl final : public QWidget {
    Q_OBJECT
public:
    enum Page { ServerPage = 0, LoginPage = 1, SignedInPage = 2 };

    explicit MavMianViewCtrl(MainViewWorld world, QWidget* parent = nullptr);
    /// Waits for a tick of the ticket poll that runs.
    ~MavMianViewCtrl() override;

    /// Fills the server page from the configuration, except on the very first start, and shows it.
    void selectTableItem();
    /// selectTableItem() on the main queue. Any thread.
    void UpdateTableView();
    /// Leaves the signed-in page; with the object 2 (ticket timed out) the session ends first. Any thread.
    void exitAccount(const Platform::Notification& notification);

    /// Starts the ticket poll anew.
    void StartCheckTicketStatus();
    void closeCheckTicketStatus();

    /// Shows @p text in the warning box. Any thread.
    void tipText(const QString& text);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void awakeFromNib();
    void initBttonSatus();
    /// A page's view is made when the page is first shown: one that nobody comes to costs neither time nor memory.
    void initLoadViews(Page page);
    void addNotifications();
    void selectPage(Page page);
    /// The server page, too, says that a sign-out waits: a start in between comes no further.
    void showPendingSignOut();
    void setingSeverBtton();
    void probeServer();
    void showProbeResult(bool reachable);
    void createCheckTicketTimer();
    void checkTicket();
    void sessionChanged(SessionState old, SessionState now, SessionReason why);
    void showSignedIn();
    MavLoginStateViewCtrl& loginViewCtrl();
    MavNavigationViewCtrl& NavigationViewCtrl();
    Platform::SerialQueue& timerCheckQueue();

    const MainViewWorld m_world;
    std::unique_ptr<Ui::MavMianViewCtrl> m_ui;
    MavLoginStateViewCtrl* m_loginViewCtrl = nullptr;
    MavNavigationViewCtrl* m_NavigationViewCtrl = nullptr;
    // The timer goes before its queue.
    std::unique_ptr<Platform::SerialQueue> m_timerCheckQueue;
    std::unique_ptr<Platform::DispatchTimer> m_TicketCheckTimer;
    std::vector<Platform::NotificationCenter::Observer> m_observers;
    Platform::Receiver m_answers;
};
