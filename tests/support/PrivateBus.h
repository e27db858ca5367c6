#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

using namespace Qt::StringLiterals;

/// A bus of the test's own, ended with this object; never the user's.
class PrivateBus {
public:
    PrivateBus() { start(u"--session"_s); }
    /// Listens at @p socket, where every user may come.
    explicit PrivateBus(const QString& socket) {
        QFile settings(socket + u".conf"_s);
        if (!QDir().mkpath(QFileInfo(socket).path()) || !settings.open(QIODevice::WriteOnly))
            return;
        settings.write("<busconfig><type>session</type><listen>unix:path=" + socket.toUtf8() +
            "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
            "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
        settings.close();
        start(u"--config-file="_s + settings.fileName());
    }
    ~PrivateBus() {
        m_daemon.kill();
        m_daemon.waitForFinished(5000);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Empty when the daemon could not be started.
    const QString& address() const { return m_address; }
    pid_t pid() const { return static_cast<pid_t>(m_daemon.processId()); }

private:
    void start(const QString& settings) {
        m_daemon.start(u"dbus-daemon"_s, {settings, u"--nofork"_s, u"--print-address"_s});
        if (m_daemon.waitForStarted(5000) && m_daemon.waitForReadyRead(5000))
            m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    }

    QProcess m_daemon;
    QString m_address;
};
