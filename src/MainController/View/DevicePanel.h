#pragma once

#include "Completion.h"
#include "TaskGroup.h"

#include <QTimer>

class DeviceFactRow;
class ITDevice;
class QFrame;
class QLabel;

/// This device's identity in the login window, with a button to copy each part of it. Main thread; the facts are read
/// in the background.
class DevicePanel final : public QObject {
    Q_OBJECT
public:
    struct Rows {
        DeviceFactRow* name;
        DeviceFactRow* type;
        DeviceFactRow* systemVersion;
        DeviceFactRow* clientVersion;
        DeviceFactRow* ip;
        DeviceFactRow* mac;
    };

    DevicePanel(Rows rows, QFrame* panel);

    /// @param device, work  outlive what is begun
    void load(ITDevice& device, Platform::TaskGroup& work);

    void copyDeviceName() { copy(*m_rows.name); }
    void copySystemVersion() { copy(*m_rows.systemVersion); }
    void copyIPAddress() { copy(*m_rows.ip); }
    void copyMacAddress() { copy(*m_rows.mac); }
    void copyDeviceType() { copy(*m_rows.type); }
    void copyMacVersion() { copy(*m_rows.clientVersion); }

private:
    void copy(const DeviceFactRow& row);
    void showAlertTip(const QString& text);

    const Rows m_rows;
    QFrame* const m_panel;
    QLabel* const m_alertTip;
    QTimer m_alertTipEnd;
    Platform::Receiver m_answers;
};
