#include "ReferenceServer.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QThread>
#include <QUrlQuery>

using namespace Qt::StringLiterals;

namespace {

constexpr int startLimitMs = 20000; // a sanitized server on a busy machine makes its certificate within this
constexpr int stopLimitMs = 5000;

} // namespace

QJsonObject ReferenceServer::Reply::json() const {
    return QJsonDocument::fromJson(body).object();
}

ReferenceServer::ReferenceServer() {
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

ReferenceServer::~ReferenceServer() {
    stop();
}

void ReferenceServer::addAccount(
    const QString& userid, const QString& password, const QString& otp, const QString& mail) {
    m_accounts << u"--account"_s << QStringList{userid, password, otp, mail}.join(u':');
}

bool ReferenceServer::start() {
    const QStringList arguments{u"--folder"_s, folder(), u"--port"_s, QString::number(m_httpPort), u"--https-port"_s,
        QString::number(m_httpsPort), u"--until-stdin-closes"_s};
    m_process.start(program(), arguments + m_accounts);
    QElapsedTimer waited;
    waited.start();
    while (!m_process.canReadLine() && waited.elapsed() < startLimitMs && m_process.state() != QProcess::NotRunning)
        m_process.waitForReadyRead(100);
    const QString line = QString::fromUtf8(m_process.readLine());
    const auto ports = QRegularExpression(u"^ready http=(\\d+) https=(\\d+)\n$"_s).match(line);
    if (!ports.hasMatch()) {
        m_lastError = u"the server did not report its ports: "_s + line + m_process.errorString();
        stop();
        return false;
    }
    m_httpPort = ports.captured(1).toUShort();
    m_httpsPort = ports.captured(2).toUShort();
    return true;
}

int ReferenceServer::stop() {
    if (!isRunning())
        return -1;
    m_process.terminate();
    if (!m_process.waitForFinished(stopLimitMs)) {
        m_process.kill();
        m_process.waitForFinished(stopLimitMs);
        return -1;
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

bool ReferenceServer::isRunning() const {
    return m_process.state() == QProcess::Running;
}

QString ReferenceServer::program() {
    return QStringLiteral(MAV_REFERENCE_SERVER);
}

QString ReferenceServer::folder() const {
    return m_folder.path();
}

bool ReferenceServer::action(const QString& name, QJsonObject fields) {
    fields[u"action"_s] = name;
    return postJson(u"/operator/action"_s, fields);
}

bool ReferenceServer::fault(const QString& path, QJsonObject how, int count) {
    how[u"path"_s] = path;
    how[u"count"_s] = count;
    return postJson(u"/operator/faults"_s, how);
}

bool ReferenceServer::clearFaults() {
    return postJson(u"/operator/faults"_s, {{u"kind"_s, u"clear"_s}});
}

bool ReferenceServer::postJson(const QString& path, const QJsonObject& body) {
    const Reply reply = post(path, QJsonDocument(body).toJson(), {{"Content-Type", "application/json"}});
    if (reply.status == 200 && reply.json().value(u"ret"_s).toInt(-1) == 0)
        return true;
    if (reply.status != 0)
        m_lastError = QString::fromUtf8(reply.body);
    return false;
}

QJsonObject ReferenceServer::state() {
    return get(u"/operator/state.json"_s).json();
}

QJsonObject ReferenceServer::find(const QString& list, const QString& key, const QString& value) {
    const QJsonArray entries = state().value(list).toArray();
    for (const auto& entry : entries) {
        if (entry[key].toString() == value)
            return entry.toObject();
    }
    return {};
}

QJsonArray ReferenceServer::requests(const QString& path) {
    QUrlQuery query;
    if (!path.isEmpty())
        query.addQueryItem(u"path"_s, path);
    const Reply reply = get(u"/operator/requests.json?"_s + query.toString(QUrl::FullyEncoded));
    return reply.json().value(u"requests"_s).toArray();
}

bool ReferenceServer::waitForRequests(const QString& path, int count, int timeoutMs) {
    QElapsedTimer waited;
    waited.start();
    do {
        if (requests(path).size() >= count)
            return true;
        QThread::msleep(20);
    } while (waited.elapsed() < timeoutMs && isRunning());
    m_lastError = u"too few requests of "_s + path;
    return false;
}

QByteArray ReferenceServer::bodyOf(const QJsonObject& request) {
    return QByteArray::fromBase64(request.value(u"body_base64"_s).toString().toLatin1());
}

ReferenceServer::Reply ReferenceServer::get(const QString& pathAndQuery, int timeoutMs) {
    return exchange("GET", pathAndQuery, {}, {}, timeoutMs);
}

ReferenceServer::Reply ReferenceServer::post(
    const QString& pathAndQuery, const QByteArray& body, const Headers& headers, int timeoutMs) {
    return exchange("POST", pathAndQuery, body, headers, timeoutMs);
}

ReferenceServer::Reply ReferenceServer::exchange(
    const QByteArray& method, const QString& target, const QByteArray& body, const Headers& headers, int timeoutMs) {
    QElapsedTimer waited;
    waited.start();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_httpPort);
    if (!socket.waitForConnected(timeoutMs)) {
        m_lastError = socket.errorString();
        return {};
    }
    QByteArray request = method + ' ' + target.toUtf8() + " HTTP/1.1\r\nConnection: close\r\n";
    for (const auto& [name, value] : headers)
        request += name + ": " + value + "\r\n";
    if (!request.contains("\r\nHost: "))
        request += "Host: 127.0.0.1:" + QByteArray::number(m_httpPort) + "\r\n";
    if (method != "GET")
        request += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    socket.write(request + "\r\n" + body);

    QByteArray received;
    while (waited.elapsed() < timeoutMs && socket.waitForReadyRead(timeoutMs - int(waited.elapsed())))
        received += socket.readAll();
    const qsizetype head = received.indexOf("\r\n\r\n");
    if (head < 0 || socket.state() == QAbstractSocket::ConnectedState) {
        m_lastError = u"no complete answer to "_s + target;
        return {};
    }
    return {received.mid(9, 3).toInt(), received.mid(head + 4)};
}
