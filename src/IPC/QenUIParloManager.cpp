#include "QenUIParloManager.h"

#include "SystemLog.h"

using namespace Qt::StringLiterals;

namespace {

const QString ListeningKey = u"QenCloudUIIPCListeningKey"_s;
// Seconds, each way.
constexpr double Timeout = 60.0;

} // namespace

void QenUIParloManager::config() {
    m_uiClient.setSendTimeout(Timeout);
    m_uiClient.setReceiveTimeout(Timeout);
    if (!m_uiServer.startListen(ListeningKey))
        Platform::systemLog(u"[QenUIParloManager] cannot listen: %1"_s.arg(ListeningKey));
}

void QenUIParloManager::sendMessageWithName(const QString& name, const QByteArray& message, quint32 msgid,
    const std::function<void(qint64 retCode, const QByteArray& reply)>& completion) const {
    qint64 retCode = ParloClient::NoReply;
    const QByteArray reply = m_uiClient.sendMessageWithName(name, message, msgid, &retCode);
    completion(retCode, reply);
}
