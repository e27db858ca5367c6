#pragma once

#include "AnswerVerdict.h"
#include "Completion.h"
#include "PollTimer.h"
#include "QenDetailWindow.h"
#include "Session.h"
#include "ui_QenMainLeftBar.h"

#include <QPointer>
#include <QWidget>

#include <atomic>
#include <functional>
#include <memory>

class QToolButton;

/// The column at the left of the main window: the user, the computer and the tabs. Also opens the login window and runs
/// the two polls that follow the sign-in.
///
/// The ticket poll runs while somebody is signed in with a ticket, the poll of the QR sign-in while the login window
/// waits for one or a sign-out is still to be reported. Both tick on one queue. Main thread unless stated.
class QenMainLeftBar final : public QWidget, public StartCheckLoginDelegate {
    Q_OBJECT
public:
    enum Tab { SafetyTab = 0, ToolsTab = 1, DetailTab = 2 };

    explicit QenMainLeftBar(SessionViewWorld world, QWidget* parent = nullptr);
    ~QenMainLeftBar() override;

    /// Opens the login window over @p over, or brings it forward.
    void openDetailWindow(QWidget* over);
    /// The login window waits for a sign-in; one opened by somebody signed in does not.
    bool ishowDetailWin() const { return *m_ishowDetailWin; }

    /// Any thread; acts on the main queue.
    void StartCheckLogin() override;
    void StartCheckLoginStatus();
    void closeCheckLoginStatus() { m_GDCheckLoginTimer.reset(); }
    void StartCheckTicketStatus();
    void closeCheckTicketStatus() { m_TicketCheckTimer.reset(); }
    void closeDetailWindow(QenDetailWindow* window) override;

    /// Reports a tab to the main view, which selects the one of the same index. Without one there are no tabs to press.
    void setTabCallback(std::function<void(int tag)> callback);
    void functionListHandleWithTag(int tag, bool isCallback);
    void switchbtnsecond() { functionListHandleWithTag(ToolsTab, false); }
    void setHideDetilBtn(bool hidden);
    /// @param level  0 is safe
    void setUIWithWarnLevel(int level);
    void refreshUserName();
    void setMachineName();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void connectButtons();
    void showTabs();
    void createCheckLoginTimer();
    void createCheckTicketTimer();
    void detailWindowClosed();
    void sessionChanged();
    /// Each poll runs while it has something to ask.
    void followSession();
    void qrPollAnswered(const QRPollVerdict& verdict);
    QToolButton* tabButton(int tag) const;

    const SessionViewWorld m_world;
    Ui::QenMainLeftBar m_ui;
    const std::shared_ptr<Platform::SerialQueue> m_timerCheckQueue;
    std::unique_ptr<PollTimer> m_GDCheckLoginTimer;
    std::unique_ptr<PollTimer> m_TicketCheckTimer;
    std::function<void(int)> m_tabCallback;
    QPointer<QenDetailWindow> m_detailWindow;
    QString m_ground;
    /// Shared with the polls, which wake the main thread only while the window waits for them.
    const std::shared_ptr<std::atomic<bool>> m_ishowDetailWin = std::make_shared<std::atomic<bool>>(false);
    bool m_hideDetilBtn = false;
    Platform::Receiver m_answers;
};
