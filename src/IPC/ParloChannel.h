#pragma once

#include <QByteArray>
#include <QString>

#include <atomic>
#include <memory>
#include <thread>

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

/// What a listening endpoint hands its messages to.
class ParloServerDelegate {
public:
    virtual ~ParloServerDelegate() = default;
    /// Called on the endpoint's own thread. @return the reply
    virtual QByteArray handleIPCReceiveData(const QByteArray& data, quint32 msgid) = 0;
};

/// A named endpoint that accepts messages of root and of this user; any other peer is closed unread.
///
/// Sleeps on a thread of its own while it listens. A peer that floods or speaks nonsense is closed, and no peer holds
/// memory between its messages. At most sixteen at a time, one of them kept for root; a further one takes the place of
/// the one that has been silent for longest.
class ParloServer final {
public:
    /// @param delegate  must outlive the listening  @param folder  where the endpoints' sockets lie
    ParloServer(ParloServerDelegate& delegate, QString folder);
    ~ParloServer();
    ParloServer(const ParloServer&) = delete;
    ParloServer& operator=(const ParloServer&) = delete;

    /// False when another process serves @p key or the socket cannot be made.
    bool startListen(const QString& key);
    /// Returns once no delegate call runs. Not from the delegate.
    void stopListen(const QString& key);

private:
    struct Listener;
    ParloServerDelegate& m_delegate;
    const QString m_folder;
    QString m_key;
    std::unique_ptr<Listener> m_listener;
    std::thread m_thread;
};
