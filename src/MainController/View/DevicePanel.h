#pragma once

#include "Completion.h"
#include "TaskGroup.h"

#include <QFrame>
#include <QTimer>

#include <array>

class DeviceFactRow;
class ITDevice;
class QLabel;

/// This device's identity in the login window, with a button to copy each part of it. Main thread; the facts are read
/// in the background.
class DevicePanel final : public QFrame {
    Q_OBJECT
public:
    explicit DevicePanel(QWidget* parent = nullptr);

    /// @param device, work  outlive what is begun
    void load(ITDevice& device, Platform::TaskGroup& work);

    void copyDeviceName() { copy(Name); }
    void copyDeviceType() { copy(Type); }
    void copySystemVersion() { copy(SystemVersion); }
    void copyMacVersion() { copy(ClientVersion); }
    void copyIPAddress() { copy(Ip); }
    void copyMacAddress() { copy(Mac); }

private:
    enum Fact { Name, Type, SystemVersion, ClientVersion, Ip, Mac, FactCount };

    void copy(Fact fact);
    void showAlertTip(const QString& text);

    std::array<DeviceFactRow*, FactCount> m_rows{};
    QLabel* m_alertTip;
    QTimer m_alertTipEnd;
    Platform::Receiver m_answers;
};
