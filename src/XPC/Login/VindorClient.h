#pragma once

#include "HttpSession.h"
#include "LoginLinks.h"

#include <QString>

#include <deque>
#include <mutex>

/// The agent's local HTTP interface: asks for access, then has the VPN component stopped.
///
/// The port stands in a file of the agent and is read for every request; a file that is missing, damaged or not the
/// agent's own (nor this user's), and a port that another user's process holds, is an agent that cannot be reached.
/// Completions are called once, on the network thread or at once on the caller's; the client must outlive them.
class VindorClient final : public AgentAccessLink {
public:
    /// @param portFile  text with the port's number  @param timeout  seconds per request
    explicit VindorClient(QString portFile, double timeout = 5.0);

    void startRequestAccess(std::function<void(int status)> completion) override;
    /// Needs the access granted before.
    void stopSmartAgent(
        std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion) override;

    void accessAndStop(std::function<void(const AgentStop&)> completion) override;

private:
    void beginUnit();
    /// Null when there is no port to be had.
    QString urlOf(const QString& path) const;

    const QString m_portFile;
    const double m_timeout;
    std::mutex m_mutex;
    QByteArray m_token;
    /// Units of access and stop that wait; the first one is under way.
    std::deque<std::function<void(const AgentStop&)>> m_units;
    Platform::HttpSession m_session;
};
