#pragma once

#include <QJsonObject>

namespace ReferenceAgent {

/// How the agent's links act, as its JSON file says.
struct Behaviour {
    bool vpnMayRun = true;
    int accessCode = 0; ///< answer to a request for access; 0 grants it
    int stopCode = 0;   ///< answer to the order to stop; 0 carries it out
};

/// @param file  the whole JSON file, found good; defaults for what it does not say
Behaviour behaviourOf(const QJsonObject& file);

} // namespace ReferenceAgent
