#pragma once

#include "Error.h"
#include "TicketServiceLink.h"

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

/// The agent's local HTTP interface.
class AgentAccessLink {
public:
    virtual ~AgentAccessLink() = default;
    /// @param status  0 when access is granted
    virtual void startRequestAccess(std::function<void(int status)> completion) = 0;
    /// @param answer  holds an integer "code", 0 on success
    virtual void stopSmartAgent(
        std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion) = 0;
    /// Both, one after the other and as one: a second unit begins when the first is over, since an access voids the one
    /// before. @param completion  called once, on any thread
    virtual void accessAndStop(std::function<void(const AgentStop&)> completion) = 0;
};

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
    TicketServiceLink* ticketService = nullptr;
    NetworkAccessLink* networkAccess = nullptr;
};
