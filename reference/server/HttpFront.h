#pragma once

#include "Faults.h"
#include "RequestLog.h"
#include "Router.h"

#include <QAbstractHttpServer>
#include <QHttpServerResponder>
#include <QPointer>
#include <QSslConfiguration>
#include <QTcpSocket>

namespace Reference {

/// Receives requests over HTTP and HTTPS, lets the router answer them, spoils the answers that a fault is waiting for.
///
/// Answers are written here, to the socket that is being read, rather than through the library's responder: a late
/// answer has to survive that its client went away, and some faults are no valid answer. Requests above 1 MiB are
/// answered with 413 and their connection is closed.
class HttpFront final : public QAbstractHttpServer {
    Q_OBJECT

public:
    /// @param operators  routes under "/operator", never spoiled nor logged. All arguments outlive the object.
    HttpFront(const Router& services, const Router& operators, Faults& faults, RequestLog& log);

    /// @param port  0 picks a free one  @return the port, 0 when it cannot be had
    quint16 listenPlain(const QHostAddress& address, quint16 port);
    quint16 listenEncrypted(const QHostAddress& address, quint16 port, const QSslConfiguration& configuration);

protected:
#if QT_VERSION < QT_VERSION_CHECK(6, 8, 0)
    using Responder = QTcpSocket*;
#else
    using Responder = QHttpServerResponder&;
#endif
    bool handleRequest(const QHttpServerRequest& request, Responder unused) override;
    void missingHandler(const QHttpServerRequest& request, Responder unused) override;

private:
    void serve(const Request& request, QTcpSocket* socket);
    void serveOperator(const Request& request, QTcpSocket* socket);

    const Router& m_services;
    const Router& m_operators;
    Faults& m_faults;
    RequestLog& m_log;
};

} // namespace Reference
