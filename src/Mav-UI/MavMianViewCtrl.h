#pragma once

#include "Completion.h"
#include "MainViewWorld.h"
#include "NotificationCenter.h"
#include "PollTimer.h"
#include "Session.h"
#include "ui_MavMianViewCtrl.h"

#include <QWidget>

#include <memory>

class MavLoginStateViewCtrl;
class MavNavigationViewCtrl;

/// The main window's content: server page, login page, signed-in page.
///
/// Follows the session: moves between them as the user sets the server, signs in, is confirmed by the ticket poll or
/// loses the session, and says why it was lost. Main thread unless stated.
class MavMianViewCtrl final : public QWidget {
    Q_OBJECT
public:
    enum Page { ServerPage = 0, LoginPage = 1, SignedInPage = 2 };

    explicit MavMianViewCtrl(MainViewWorld world, QWidget* parent = nullptr);

    /// Fills the server page from the configuration, except on the very first start, and shows it.
    void selectTableItem();
    /// selectTableItem() on the main queue, for what concerns the session @p asked: somebody who has signed in since
    /// keeps the page. Any thread.
    void UpdateTableView(const AskedFor& asked);
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
    void showProbeResult(bool reachable);
    void createCheckTicketTimer();
    void sessionChanged(SessionState old, SessionState now, SessionReason why);
    void showSignedIn();

    const MainViewWorld m_world;
    Ui::MavMianViewCtrl m_ui;
    MavLoginStateViewCtrl* m_loginViewCtrl = nullptr;
    MavNavigationViewCtrl* m_NavigationViewCtrl = nullptr;
    const std::shared_ptr<Platform::SerialQueue> m_timerCheckQueue;
    std::unique_ptr<PollTimer> m_TicketCheckTimer;
    Platform::Receiver m_answers;
    // They end before what they hand over to.
    Platform::NotificationCenter::Observer m_logout;
    Platform::NotificationCenter::Observer m_timeOut;
};
