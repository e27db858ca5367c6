#pragma once

#include "HttpSession.h"
#include "LoginLinks.h"
#include "Queue.h"

#include <mutex>

/// The agent's local HTTP interface: asks for access, then has the VPN component stopped.
///
/// The port stands in a file of the agent and is read for every request; a file that is missing, damaged or not the
/// agent's own (nor this user's), and a port that another user's process holds, is an agent that cannot be reached.
/// Completions are called once, on the network thread or at once on the caller's, that of accessAndStop() on a queue of
/// its own; the client must outlive them.
class VindorClient final {
public:
    /// @param portFile  text with the port's number  @param timeout  seconds per request
    explicit VindorClient(QString portFile, double timeout = 5.0);

    /// @param completion  hears 0 when access is granted
    void startRequestAccess(std::function<void(int status)> completion);
    /// Needs the access granted before. @param completion  hears an answer with an integer "code", 0 on success
    void stopSmartAgent(std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion);
    /// Both, one after the other and as one: a second unit begins when the first is over, since an access voids the one
    /// before.
    void accessAndStop(AgentStopped completion);

private:
    void post(const QString& path, const QByteArray& token,
        std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion);

    const QString m_portFile;
    const double m_timeout;
    std::mutex m_mutex;
    QByteArray m_token;
    Platform::HttpSession m_session;
    /// Units of access and stop. Last: its end waits for those that were handed over.
    Platform::SerialQueue m_units{u"vindor"_s};
};
