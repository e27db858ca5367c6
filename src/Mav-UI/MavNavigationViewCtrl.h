#pragma once

#include "Completion.h"
#include "MainViewWorld.h"
#include "ui_MavNavigationViewCtrl.h"

#include <QDateTime>
#include <QWidget>

/// The signed-in page: the left bar, the network state in the head line, and the view of checks and tools, whose tools
/// list follows the agent's.
///
/// It takes the keyboard when it comes up, so that the menu button does not. The server's address is read in the
/// background; everything shown changes on the main thread.
class MavNavigationViewCtrl final : public QWidget {
    Q_OBJECT
public:
    explicit MavNavigationViewCtrl(const MainViewWorld& world, QWidget* parent = nullptr);

    /// Somebody signed in or was confirmed: reads the server's address and the tools again. Any thread.
    void refresh();
    /// @param status  -1 unknown, 0 not reachable, 1 mobile, 2 Wi-Fi; any other leaves the line as it is
    void updateNetWorkStatus(int status);

private:
    void takeInViews();
    void showNote();

    const MainViewWorld m_world;
    Ui::MavNavigationViewCtrl m_ui;
    QenMainViewController* m_mainView = nullptr;
    /// When the network went; invalid while there is one.
    QDateTime m_offlineSince;
    Platform::Receiver m_answers;
};
