#pragma once

#include <QProcess>
#include <QString>

using namespace Qt::StringLiterals;

/// A session bus of the test's own, ended with this object; never the user's.
class PrivateBus {
public:
    PrivateBus() {
        m_daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
        if (m_daemon.waitForStarted(5000) && m_daemon.waitForReadyRead(5000))
            m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
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
    QProcess m_daemon;
    QString m_address;
};
