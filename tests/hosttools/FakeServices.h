#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDir>
#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;

/// A system bus of the test's own at the socket below a root, which everybody may use.
class FakeSystemBus {
public:
    explicit FakeSystemBus(const QString& root) {
        const QString socket = root + u"/run/dbus/system_bus_socket"_s;
        QFile settings(root + u"/bus.conf"_s);
        if (!QDir().mkpath(root + u"/run/dbus"_s) || !settings.open(QIODevice::WriteOnly))
            return;
        settings.write("<busconfig><type>session</type><listen>unix:path=" + socket.toUtf8() +
            "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
            "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/></policy>"
            "</busconfig>");
        settings.close();
        m_daemon.start(
            u"dbus-daemon"_s, {u"--config-file="_s + settings.fileName(), u"--nofork"_s, u"--print-address"_s});
        if (m_daemon.waitForStarted(5000) && m_daemon.waitForReadyRead(5000))
            m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    }
    ~FakeSystemBus() {
        QDBusConnection::disconnectFromBus(m_address);
        m_daemon.kill();
        m_daemon.waitForFinished(5000);
    }
    FakeSystemBus(const FakeSystemBus&) = delete;
    FakeSystemBus& operator=(const FakeSystemBus&) = delete;

    QDBusConnection connection() const { return QDBusConnection::connectToBus(m_address, m_address); }

private:
    QProcess m_daemon;
    QString m_address;
};

/// Answers questions for properties, by "path name", and calls of other methods, by their names.
class FakeObjects final : public QDBusVirtualObject {
public:
    QMap<QString, QVariant> answers;
    /// How many properties have been asked for.
    int properties = 0;

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const bool isProperty = message.member() == u"Get"_s;
        properties += isProperty;
        const QString name =
            isProperty ? message.path() + QChar(u' ') + message.arguments().value(1).toString() : message.member();
        const QVariant answer = answers.value(name);
        if (!answer.isValid())
            return false;
        connection.send(message.createReply(isProperty ? QVariant::fromValue(QDBusVariant(answer)) : answer));
        return true;
    }
    QString introspect(const QString&) const override { return {}; }
};
