#include "LimitedServer.h"

namespace Reference {

namespace {

constexpr int drainMs = 2000;

/// Whose data arrived last: the library handles a request while its socket tells of its data.
ReceivedCount* reading = nullptr;

} // namespace

QTcpSocket* ReceivedCount::takeRequest() {
    reading->m_received = 0;
    return reading->m_socket;
}

void ReceivedCount::count() {
    reading = this;
    // The library reads everything that is there at each signal, so what is there now is new.
    m_received += m_socket->bytesAvailable();
    if (m_received > limit)
        refuse();
}

void ReceivedCount::refuse() {
    QObject::disconnect(m_socket, &QTcpSocket::readyRead, nullptr, nullptr);
    if (m_socket->isTransactionStarted())
        m_socket->commitTransaction();
    m_socket->readAll();
    // Reading on for a moment: closing with unread bytes would reset the connection, and the client would not see the
    // answer.
    connect(m_socket, &QTcpSocket::readyRead, this, [this] { m_socket->readAll(); });
    m_socket->write("HTTP/1.1 413 Payload Too Large\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    startTimer(drainMs);
}

void ReceivedCount::timerEvent(QTimerEvent*) {
    m_socket->abort();
}

} // namespace Reference
