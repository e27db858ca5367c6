#pragma once

#include "TaskGroup.h"

#include <QString>
#include <QWidget>

#include <chrono>
#include <functional>

class ApplicationInterface;
class QenCloudLoginHelper;
class QenLogHelper;
class QenMainViewController;
class QenServerConfig;

namespace Platform {
class NotificationCenter;
class Reachability;
class UserDefaults;
} // namespace Platform

/// What the pages of the main window stand on; all of it outlives them.
struct MainViewWorld {
    ApplicationInterface& application;
    QenCloudLoginHelper& login;
    QenServerConfig& config;
    QenLogHelper& log;
    Platform::NotificationCenter& center;
    Platform::UserDefaults& defaults;
    Platform::Reachability& reachability;
    /// Work that the pages have begun and do not wait for.
    Platform::TaskGroup& work;
    /// The user's Application Support folder.
    QString applicationSupport;
    /// The agent's data folder.
    QString agentState;
    /// From the saved server to its probe.
    std::chrono::milliseconds probeDelay{3000};
    std::chrono::milliseconds ticketInterval{3000};
    /// Opens the login window over the given one. Empty: the login page offers no QR code.
    std::function<void(QWidget* over)> openDetailWindow{};
    /// Make what the signed-in page takes in when it first comes up: the column at its left, and the view of checks and
    /// tools.
    std::function<QWidget*()> leftBar{};
    std::function<QenMainViewController*()> mainView{};
};
