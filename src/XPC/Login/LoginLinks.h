#pragma once

#include "Error.h"

#include <QJsonArray>
#include <QJsonObject>

#include <functional>

/// Network access control: certificates and profiles.
struct NetworkAccessLink {
    std::function<void(std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion)>
        requestGeneralConfig;
    std::function<void(const QString& url, std::function<void(bool)> completion)> checkiNacNecessaryWithUrl;
    std::function<void(const QString& userName, const QString& ticket, const QJsonArray& ssids, const QString& url)>
        executeInacTaskWithUserName;
    std::function<void()> installStaticMobileconfig;
};

/// The session's peers.
struct LoginLinks {
    // The ticket service. Both return at once.
    std::function<void()> runTicketXPC = [] {};
    std::function<void()> closeNgnServerXpc = [] {};
    /// Absent: nobody is asked.
    const NetworkAccessLink* networkAccess = nullptr;
};
