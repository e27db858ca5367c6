#include "QenUIParloManager.h"

#include "Paths.h"
#include "SystemLog.h"

using namespace Qt::StringLiterals;

namespace {

const QString ListeningKey = u"QenCloudUIIPCListeningKey"_s;
// Seconds, each way.
constexpr double Timeout = 60.0;

} // namespace

QenUIParloManager::QenUIParloManager(const QString& folder) : m_uiClient(folder), m_uiServer(*this, folder) {}

QenUIParloManager::~QenUIParloManager() {
    m_uiServer.stopListen(ListeningKey);
}

void QenUIParloManager::config() {
    m_uiClient.setSendTimeout(Timeout);
    m_uiClient.setReceiveTimeout(Timeout);
    if (!m_uiServer.startListen(ListeningKey))
        Platform::systemLog(u"[QenUIParloManager] cannot listen: %1"_s.arg(ListeningKey));
}

void QenUIParloManager::sendMessageWithName(const QString& name, const QCborValue& message, quint32 msgid,
    const std::function<void(qint64 retCode, const QCborValue& reply)>& completion) const {
    qint64 retCode = ParloClient::NoReply;
    const QCborValue reply = m_uiClient.sendMessageWithName(name, message, msgid, &retCode);
    completion(retCode, reply);
}

QCborValue QenUIParloManager::handleIPCReceiveData(const QCborValue&, quint32) {
    return nullptr;
}
