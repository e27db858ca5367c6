#pragma once

#include <QByteArray>
#include <QString>

#include <atomic>

/// Sends messages to named endpoints of the channel and waits for each reply. Any thread but the main one: a send may
/// block for both time-outs.
class ParloClient final {
public:
    /// The return code of a send that got no reply.
    static constexpr qint64 NoReply = -1;

    /// @param folder  where the endpoints' sockets lie
    explicit ParloClient(QString folder) : m_folder(std::move(folder)) {}

    /// Seconds.
    void setSendTimeout(double seconds) { m_sendTimeout = seconds; }
    void setReceiveTimeout(double seconds) { m_receiveTimeout = seconds; }

    /// The reply and, in @p retCode, the receiver's return code; a null reply and NoReply when nobody trusted listens,
    /// the message is longer than a packet, or the reply is late or no reply.
    QByteArray sendMessageWithName(
        const QString& name, const QByteArray& message, quint32 msgid, qint64* retCode) const;

private:
    const QString m_folder;
    std::atomic<double> m_sendTimeout{60.0};
    std::atomic<double> m_receiveTimeout{60.0};
};
