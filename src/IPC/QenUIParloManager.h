#pragma once

#include "ParloChannel.h"
#include "Shared.h"
#include "SystemLog.h"

#include <functional>

using namespace Qt::StringLiterals;

/// The client's end of the message channel to the agent: one endpoint that sends, one that listens.
class QenUIParloManager final : public ParloServerDelegate {
public:
    static inline const QString ListeningKey = u"QenCloudUIIPCListeningKey"_s;
    /// Seconds, each way.
    static constexpr double Timeout = 60.0;

    /// @param folder  where the endpoints' sockets lie
    explicit QenUIParloManager(const QString& folder) : m_uiClient(folder), m_uiServer(*this, folder) {}
    static QenUIParloManager& sharedInstance() { return Platform::Shared<QenUIParloManager>::instance(); }

    ParloClient& uiClient() { return m_uiClient; }
    ParloServer& uiServer() { return m_uiServer; }

    /// Sets the time-outs and starts to listen. To be called once.
    void config() {
        m_uiClient.setSendTimeout(Timeout);
        m_uiClient.setReceiveTimeout(Timeout);
        if (!m_uiServer.startListen(ListeningKey))
            Platform::systemLog(u"[QenUIParloManager] cannot listen: %1"_s.arg(ListeningKey));
    }

    /// Sends on the caller's thread and calls @p completion, which is required, once with the return code and the
    /// reply. Blocks for up to 60 seconds each way: never on the main thread.
    void sendMessageWithName(const QString& name, const QByteArray& message, quint32 msgid,
        const std::function<void(qint64 retCode, const QByteArray& reply)>& completion) const {
        qint64 retCode = ParloClient::NoReply;
        const QByteArray reply = m_uiClient.sendMessageWithName(name, message, msgid, &retCode);
        completion(retCode, reply);
    }

    /// Accepts every message and answers with an empty reply: what the client acts on comes in files.
    QByteArray handleIPCReceiveData(const QByteArray&, quint32) override { return {}; }

private:
    ParloClient m_uiClient;
    ParloServer m_uiServer;
};
