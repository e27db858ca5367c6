#pragma once

#include "Error.h"

#include <QJsonArray>
#include <QJsonObject>

#include <functional>

/// Network access control: certificates and profiles.
class NetworkAccessLink {
public:
    virtual ~NetworkAccessLink() = default;
    virtual void requestGeneralConfig(
        std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion) = 0;
    virtual void checkiNacNecessaryWithUrl(const QString& url, std::function<void(bool)> completion) = 0;
    virtual void executeInacTaskWithUserName(
        const QString& userName, const QString& ticket, const QJsonArray& ssids, const QString& url) = 0;
    virtual void installStaticMobileconfig() = 0;
};

/// The session's peers.
struct LoginLinks {
    // The ticket service. Both return at once.
    std::function<void()> runTicketXPC = [] {};
    std::function<void()> closeNgnServerXpc = [] {};
    /// Absent: nobody is asked.
    NetworkAccessLink* networkAccess = nullptr;
};
