#pragma once

#include "Reachability.h"
#include "TaskGroup.h"

#include <chrono>

class ApplicationInterface;
class ITDevice;
class QenCloudLoginHelper;
class QenLogHelper;
class QenServerConfig;

namespace Platform {
class NotificationCenter;
}

/// What the left bar and the login window stand on; all of it outlives them.
struct SessionViewWorld {
    ApplicationInterface& application;
    QenCloudLoginHelper& login;
    QenServerConfig& config;
    ITDevice& device;
    QenLogHelper& log;
    Platform::NotificationCenter& center;
    /// Work that the views have begun and do not wait for.
    Platform::TaskGroup& work;
    /// Of the two session polls.
    std::chrono::milliseconds pollInterval{3000};
    std::chrono::milliseconds codeInterval{12000};
    std::chrono::milliseconds consoleInterval{10000};
    /// By default the running system's facts.
    Platform::Reachability::Reader networkReader{};
};
