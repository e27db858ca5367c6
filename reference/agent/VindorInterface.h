#pragma once

#include "Behaviour.h"

#include <QHttpServer>
#include <QString>

#include <functional>

namespace ReferenceAgent {

/// The agent's HTTP interface on loopback. Its port stands in a file as long as this object lives.
///
/// "POST /v1/access" hands out a token, "POST /v1/smartagent/stop" with that token stops the VPN component; a token is
/// good for one stop and until the next access.
class VindorInterface final {
public:
    /// @param stop  called for a stop that is carried out
    VindorInterface(QString portFile, std::function<void()> stop);
    ~VindorInterface();
    VindorInterface(const VindorInterface&) = delete;
    VindorInterface& operator=(const VindorInterface&) = delete;

    /// Picks a free port and writes its file. False, with a line on standard error, when either fails.
    bool open();
    void setBehaviour(const Behaviour& behaviour) { m_behaviour = behaviour; }

private:
    QHttpServerResponse grantAccess();
    QHttpServerResponse stopComponent(const QHttpServerRequest& request);

    const QString m_portFile;
    const std::function<void()> m_stop;
    Behaviour m_behaviour;
    QByteArray m_token;
    QHttpServer m_server;
};

} // namespace ReferenceAgent
