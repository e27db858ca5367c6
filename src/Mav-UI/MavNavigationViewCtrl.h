#pragma once

#include "MainViewWorld.h"
#include "NotificationCenter.h"
#include "Queue.h"
#include "ToolList.h"

#include <QWidget>

#include <memory>
#include <vector>

class QStandardItemModel;

namespace Ui {
class MavNavigationViewCtrl;
}

/// The signed-in page: who is signed in on which computer, the network state, the organisation's tip line and the
/// assigned tools.
///
/// Files and device facts are read on a queue of its own; everything shown changes on the main thread.
class MavNavigationViewCtrl final : public QWidget {
    Q_OBJECT
public:
    explicit MavNavigationViewCtrl(const MainViewWorld& world, QWidget* parent = nullptr);
    /// Waits for a read that runs.
    ~MavNavigationViewCtrl() override;

    /// Reads names, tips and tools again. Any thread.
    void refresh();
    /// @param status  as networkLook() takes it
    void updateNetWorkStatus(int status);

private:
    struct Facts {
        QString userName;
        QString computerName;
        QString server;
        QString tips;
        QList<ToolEntry> tools;
    };
    Facts readFacts() const;
    void show(const Facts& facts);
    void loadPictures();
    void followNetwork();

    const MainViewWorld m_world;
    std::unique_ptr<Ui::MavNavigationViewCtrl> m_ui;
    QStandardItemModel* m_tools;
    Platform::SerialQueue m_reader;
    std::vector<Platform::NotificationCenter::Observer> m_observers;
};
