#include "HttpFront.h"

#include "LimitedServer.h"
#include "Sealing.h"

#include <QHttpServerRequest>
#include <QMetaEnum>
#include <QSslCertificate>
#include <QSslSocket>
#include <QTimer>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr qsizetype largestBody = 1 << 20;

QByteArray reasonOf(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 409:
        return "Conflict";
    case 413:
        return "Payload Too Large";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    default:
        return "Answer";
    }
}

QByteArray wireForm(const Answer& answer) {
    QByteArray head = "HTTP/1.1 " + QByteArray::number(answer.status) + ' ' + reasonOf(answer.status) + "\r\n";
    head += "Content-Type: " + answer.type + "\r\nContent-Length: " + QByteArray::number(answer.body.size()) +
        "\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n";
    for (const auto& [name, value] : answer.headers)
        head += name + ": " + value + "\r\n";
    return head + "\r\n" + answer.body;
}

void send(QTcpSocket* socket, const Request& request, const Answer& answer) {
    if (!socket || socket->state() != QAbstractSocket::ConnectedState)
        return;
    socket->write(wireForm(answer));
    // Later: from 6.8 on the library destroys a socket that closes while its request is being handled, with what it has
    // to write.
    if (request.header("Connection").compare("close", Qt::CaseInsensitive) == 0)
        QMetaObject::invokeMethod(socket, &QTcpSocket::disconnectFromHost, Qt::QueuedConnection);
}

/// Whether the request can come from a page of our own or from no page at all: other pages in the operator's browser,
/// and names that were made to point at this machine, get nothing.
bool isOwnCaller(const Request& request) {
    const QByteArray host = request.header("Host");
    const QString name = QUrl(u"http://"_s + QString::fromLatin1(host)).host();
    if (name != "localhost"_L1 && !QHostAddress(name).isLoopback())
        return false;
    const QByteArray origin = request.header("Origin");
    return origin.isEmpty() || origin == "http://" + host || origin == "https://" + host;
}

/// As the library gives them up to Qt 6.7, and from 6.8 on.
[[maybe_unused]] const HeaderList& listOf(const HeaderList& headers) {
    return headers;
}
template <typename Headers>
HeaderList listOf(const Headers& headers) {
    return headers.toListOfPairs();
}

QString peerOf(QTcpSocket* socket) {
    const auto* encrypted = qobject_cast<QSslSocket*>(socket);
    return encrypted ? encrypted->peerCertificate().subjectInfo(QSslCertificate::CommonName).join(u' ') : QString();
}

const Answer& notYours() {
    static const Answer answer = jsonAnswer({{u"ret"_s, -1}, {u"errorcode"_s, 403}, {u"msg"_s, u"禁止访问"_s}}, 403);
    return answer;
}

} // namespace

HttpFront::HttpFront(const Router& services, const Router& operators, Faults& faults, RequestLog& log)
    : m_services(services), m_operators(operators), m_faults(faults), m_log(log) {}

quint16 HttpFront::listenPlain(const QHostAddress& address, quint16 port) {
    auto* server = new LimitedServer<QTcpServer>;
    server->setParent(this);
    if (!server->listen(address, port))
        return 0;
    bind(server);
    return server->serverPort();
}

quint16 HttpFront::listenEncrypted(const QHostAddress& address, quint16 port, const QSslConfiguration& configuration) {
    auto* server = new LimitedServer<QSslServer>;
    server->setParent(this);
    server->setSslConfiguration(configuration);
    if (!server->listen(address, port))
        return 0;
    bind(server);
    return server->serverPort();
}

bool HttpFront::handleRequest(const QHttpServerRequest& request, Responder) {
    QTcpSocket* const socket = ReceivedCount::takeRequest();
    Request received;
    received.method =
        QByteArray(QMetaEnum::fromType<QHttpServerRequest::Method>().valueToKey(int(request.method()))).toUpper();
    received.path = request.url().path();
    received.query = request.query();
    received.headers = listOf(request.headers());
    received.body = request.body();
    received.peer = peerOf(socket);
    if (received.body.size() > largestBody) {
        received.body.clear();
        send(socket, received, jsonAnswer({{u"ret"_s, -1}, {u"errorcode"_s, 413}, {u"msg"_s, u"请求过大"_s}}, 413));
        return true;
    }
    if (received.path == "/operator"_L1 || received.path.startsWith("/operator/"_L1))
        serveOperator(received, socket);
    else
        serve(received, socket);
    return true;
}

// Never asked: every request is handled.
void HttpFront::missingHandler(const QHttpServerRequest&, Responder) {}

void HttpFront::serveOperator(const Request& request, QTcpSocket* socket) {
    if (!isOwnCaller(request)) {
        send(socket, request, notYours());
        return;
    }
    const Router::Opened opened = m_operators.open(request);
    send(socket, request, opened.accepted ? opened.route->handle(request, opened.fields) : opened.refused);
}

void HttpFront::serve(const Request& request, QTcpSocket* socket) {
    const Router::Opened opened = m_services.open(request);
    const auto fault = m_faults.take(request.path);
    Answer answer = opened.refused;
    // The page of a scanned code decides by a plain form.
    if (request.method == "POST" && opened.route && opened.route->form == Form::SealedCode && !isOwnCaller(request))
        answer = notYours();
    else if (opened.accepted && (!fault || fault->performs))
        answer = opened.route->handle(request, opened.fields);
    if (fault)
        answer = spoiled(*fault, answer);

    const bool answers = !fault || (fault->kind != Fault::Kind::Silent && fault->kind != Fault::Kind::Close);
    RequestLog::Entry entry;
    entry.request = request;
    entry.fields = opened.fields;
    entry.fault = fault ? kindName(fault->kind) : QString();
    entry.status = answers ? answer.status : 0;
    entry.answer = answers ? answer.body : QByteArray();
    m_log.add(std::move(entry));
    if (opened.route && opened.route->sealsAnswer && (!fault || !fault->answersItself()))
        answer = sealedAnswer(answer);
    else if (fault)
        answer = wronglySealed(*fault, answer);

    const QPointer<QTcpSocket> client(socket);
    const auto finish = [client, request, answer, kind = fault ? fault->kind : Fault::Kind::Delay] {
        if (!client || kind == Fault::Kind::Silent)
            return;
        if (kind == Fault::Kind::Close)
            client->abort();
        else
            send(client, request, answer);
    };
    if (!fault)
        finish();
    else
        // Later even without a delay: a connection cannot be aborted while the library still handles its request.
        QTimer::singleShot(fault->delayMs, this, finish);
}

} // namespace Reference
