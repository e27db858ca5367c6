#pragma once

#include "Completion.h"
#include "JoinDomainAction.h"
#include "NotificationCenter.h"
#include "QenCheckRound.h"
#include "QenToolModel.h"
#include "Queue.h"
#include "ToolOpener.h"
#include "ui_QenMainViewController.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <vector>

class QenCloudLoginHelper;
class QenLogHelper;
class QenMainLeftBar;
class QenTrustedAppWindow;
class TipsLine;

namespace Platform {
class Workspace;
} // namespace Platform

/// What the view of checks and tools stands on; all of it outlives the view.
struct CheckViewWorld {
    QenCloudLoginHelper& login;
    QenLogHelper& log;
    Platform::NotificationCenter& center;
    Platform::Workspace& workspace;
    /// The agent's data folder.
    QString agentState;
    QenCheckRound::World round;
    JoinDomainAction::World joinDomain;
    /// Shows a topic of the help beside the given window.
    std::function<void(const QString& tag, const QWidget* over)> openHelp;
};

/// What is shown of the tools.
struct ToolsLook {
    bool showsTools = false;
    bool showsAvailableApplications = false;
};
/// Pure function.
/// @param loginType  0 when nobody is signed in, 3 for a domain session
ToolsLook toolsLook(qint64 loginType, bool isCheckAndShow);

/// The view of checks and tools: what the computer's compliance is, what to do about it, and the assigned tools.
///
/// The left bar selects one of its three tabs. It follows the agent's files through their notifications, reads them on
/// a queue of its own and shows on the main thread. The first round of checks begins when it is made.
class QenMainViewController final : public QWidget {
    Q_OBJECT
public:
    QenMainViewController(CheckViewWorld world, QenMainLeftBar& leftBar, QWidget* parent = nullptr);
    /// Waits for a read that runs.
    ~QenMainViewController() override;

    /// The organisation's tip line and mark, for the head line of the page that holds this view. It belongs to this
    /// view until somebody takes it in.
    QWidget* tipsLine() const;

    /// Reads the tools again. Any thread.
    /// @param object  of the notification; the number 2 ends the session first
    void loadToolsView(const QVariant& object = {});
    void updateTipsFromConfigWithNotification();
    void updateLogoFromConfigWithNotification();
    void updateComputerNameFromJoinDomainWithNotification();
    /// Decides again whether the join-domain button is offered. Any thread.
    void loadJoinDomainButton();
    void changeAvailableAppListButtonStatus() { loadToolsView(); }
    void changeUIWithWarnLevel(int level);
    void selectTab(int tag);
    /// Shows a message over the window. Any thread.
    void tipText(const QString& message);

private:
    struct Tools {
        ToolsLook look;
        QList<QenToolModel> models;
    };

    void addQenNotifications();
    void setUpPages();
    void followRound();
    void updateToolsViewWithLogintype(qint64 loginType);
    void showTools(const Tools& tools);
    void reCheckBtnClick();
    void tapRepairBtn(const QString& keyword);
    void showDetails();
    void applistButtonDidClicked();
    void roundStarted();
    void roundCompleted(const CheckLook::Closing& closing);
    void roundStalled();
    void setRoundRunning(bool isRunning);
    void setReCheckEnabled(bool isEnabled);

    const CheckViewWorld m_world;
    QenMainLeftBar& m_leftBar;
    Ui::QenMainViewController m_ui;
    QPointer<TipsLine> m_tipsLine;
    QPointer<QenTrustedAppWindow> m_trustedAppWindow;
    JoinDomainAction m_joinDomain;
    ToolOpener m_toolOpener;
    QenCheckRound m_round;
    std::vector<Platform::NotificationCenter::Observer> m_observers;
    Platform::Receiver m_answers;
    Platform::SerialQueue m_reader;
};
