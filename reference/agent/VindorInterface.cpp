#include "VindorInterface.h"

#include "Report.h"

#include <QDir>
#include <QFileInfo>
#include <QHttpServerResponse>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QSaveFile>
#include <QTcpServer>

using namespace Qt::StringLiterals;

namespace ReferenceAgent {

namespace {

QByteArray newToken() {
    quint32 words[8];
    QRandomGenerator::system()->fillRange(words);
    return QByteArray(reinterpret_cast<const char*>(words), sizeof words).toHex();
}

bool writePort(const QString& path, quint16 port) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) &&
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther) &&
        file.write(QByteArray::number(port) + '\n') > 0 && file.commit();
}

} // namespace

VindorInterface::VindorInterface(QString portFile, std::function<void()> stop)
    : m_portFile(std::move(portFile)), m_stop(std::move(stop)) {
    m_server.route(u"/v1/access"_s, QHttpServerRequest::Method::Post, [this] { return grantAccess(); });
    m_server.route(u"/v1/smartagent/stop"_s, QHttpServerRequest::Method::Post,
        [this](const QHttpServerRequest& request) { return stopComponent(request); });
}

VindorInterface::~VindorInterface() {
    QFile::remove(m_portFile);
}

bool VindorInterface::open() {
    auto* listener = new QTcpServer(&m_server);
    quint16 port = 0;
    if (listener->listen(QHostAddress::LocalHost)) {
        m_server.bind(listener);
        port = listener->serverPort();
    }
    if (port == 0 || !writePort(m_portFile, port)) {
        complain(m_portFile, port == 0 ? u"no port to be had"_s : u"cannot be written"_s);
        return false;
    }
    tell("wrote", QFileInfo(m_portFile).fileName());
    return true;
}

QHttpServerResponse VindorInterface::grantAccess() {
    const int code = m_behaviour.accessCode;
    tell("access", QString::number(code));
    if (code != 0)
        return QJsonObject{{u"code"_s, code}};
    m_token = newToken();
    return QJsonObject{{u"code"_s, 0}, {u"token"_s, QString::fromLatin1(m_token)}};
}

QHttpServerResponse VindorInterface::stopComponent(const QHttpServerRequest& request) {
    const QByteArray token = std::exchange(m_token, {});
    const bool isGranted = !token.isEmpty() && request.value("Authorization") == "Bearer " + token;
    const int code = isGranted ? m_behaviour.stopCode : 401;
    tell("stop", QString::number(code));
    if (!isGranted)
        return QHttpServerResponse(QJsonObject{{u"code"_s, code}}, QHttpServerResponse::StatusCode::Unauthorized);
    if (code == 0)
        m_stop();
    return QJsonObject{{u"code"_s, code}};
}

} // namespace ReferenceAgent
