#include "Behaviour.h"

namespace ReferenceAgent {

Behaviour behaviourOf(const QJsonObject& file) {
    const QJsonValue vindor = file.value(u"vindor");
    return {.vpnMayRun = file.value(u"vpn").toBool(true),
        .accessCode = vindor[u"access"].toInt(),
        .stopCode = vindor[u"stop"].toInt()};
}

} // namespace ReferenceAgent
