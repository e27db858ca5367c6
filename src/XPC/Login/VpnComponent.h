#pragma once

#include "HttpSession.h"
#include "Queue.h"

#include <mutex>

class TaskHelper;

/// What came of asking the agent to stop the VPN component.
struct AgentStop {
    /// `access` of a request that got no answer.
    static constexpr int NoAccess = -1;
    /// 0 when access was granted; else nothing was stopped.
    int access = 0;
    /// Holds an integer "code", 0 on success.
    QJsonObject answer = {};
    Platform::Error error = {};

    /// The log's words for access and code.
    QString outcome() const;
};
using AgentStopped = std::function<void(const AgentStop&)>;

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

/// The VPN component inside the bundle: whether it runs, and its end through the agent.
///
/// Any thread. The look-ups run a command and block for up to seven seconds; not on the main thread.
class VpnComponent final {
public:
    struct World {
        const TaskHelper& tasks;
        /// By whose path the component's process is found.
        QString executable;
        /// Asks the agent for access and for the stop.
        std::function<void(AgentStopped done)> accessAndStop;
    };

    explicit VpnComponent(World world) : m_world(std::move(world)) {}

    /// The lines of the process list that name it; null when it does not run.
    QString processes() const { return search({}, nullptr); }
    /// The process identifiers of its running copies, one a line; null when it does not run or the list cannot be read.
    QString processIds(Platform::Error* error) const { return search(u" | awk '{print $2}'"_s, error); }

    /// Has the agent stop it, as one unit that nobody else's stop can void.
    /// @param done  called once, on any thread
    void stop(AgentStopped done) const { m_world.accessAndStop(std::move(done)); }

private:
    QString search(const QString& filter, Platform::Error* error) const;

    const World m_world;
};
