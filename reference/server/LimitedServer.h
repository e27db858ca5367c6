#pragma once

#include <QSslServer>
#include <QSslSocket>
#include <QTcpServer>

namespace Reference {

/// Counts what a connection sent for its present request, and ends the connection that sends too much: the HTTP library
/// itself takes any length into memory.
class ReceivedCount final : public QObject {
    Q_OBJECT

public:
    /// Head and body together.
    static constexpr qint64 limit = (1 << 20) + 64 * 1024;

    explicit ReceivedCount(QTcpSocket* socket) : QObject(socket), m_socket(socket) {
        connect(socket, &QTcpSocket::readyRead, this, &ReceivedCount::count);
    }
    /// The connection whose request the library is handing over at this moment; its count begins anew. The library's
    /// interface names it in some versions only.
    static QTcpSocket* takeRequest();

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    void count();
    void refuse();

    QTcpSocket* m_socket;
    qint64 m_received = 0;
};

/// A TCP or TLS server whose connections are counted.
template <typename Server>
class LimitedServer final : public Server {
public:
    QTcpSocket* nextPendingConnection() override {
        QTcpSocket* socket = Server::nextPendingConnection();
        // Connected before the HTTP library's own handler, therefore asked first.
        if (socket)
            new ReceivedCount(socket);
        return socket;
    }
};

} // namespace Reference
