#pragma once

#include "Error.h"

#include <QJsonArray>
#include <QJsonObject>

#include <functional>

/// What came of asking the agent to stop the VPN component.
struct AgentStop {
    /// `access` of a request that got no answer.
    static constexpr int NoAccess = -1;
    /// 0 when access was granted; else nothing was stopped.
    int access = 0;
    /// Holds an integer "code", 0 on success.
    QJsonObject answer = {};
    Platform::Error error = {};
};
using AgentStopped = std::function<void(const AgentStop&)>;

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

/// The session's peers; one that is absent is not asked.
struct LoginLinks {
    // The ticket service. Both return at once.
    std::function<void()> runTicketXPC = {};
    std::function<void()> closeNgnServerXpc = {};
    NetworkAccessLink* networkAccess = nullptr;
};
