#include "TicketService.h"

#include <QDBusMessage>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

using namespace Qt::StringLiterals;

bool TicketService::setting(const QString& name, bool otherwise) const {
    QFile file(m_settings);
    if (!file.open(QIODevice::ReadOnly))
        return otherwise;
    return QJsonDocument::fromJson(file.readAll())[u"ticketService"_s][name].toBool(otherwise);
}

void TicketService::tell(const char* operation, bool answer) {
    const bool isSilent = setting(u"silent"_s, false);
    if (isSilent)
        setDelayedReply(true);
    std::printf("ticket service: %s %s\n", operation, isSilent ? "without reply" : answer ? "true" : "false");
    std::fflush(stdout);
}

bool TicketService::startRunProxy() {
    m_proxyRuns = setting(u"starts"_s, true);
    tell("startRunProxy", m_proxyRuns);
    return m_proxyRuns;
}

bool TicketService::checkIsNewConnection(double) {
    const bool isNew = !m_proxyRuns;
    tell("checkIsNewConnection", isNew);
    return isNew;
}

void TicketService::closeXPCAndProxy() {
    m_proxyRuns = false;
    tell("closeXPCAndProxy", true);
}
