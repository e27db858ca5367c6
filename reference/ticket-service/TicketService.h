#pragma once

#include <QDBusContext>
#include <QObject>
#include <QString>

/// The operations of the ticket service on the session bus.
///
/// The connection is new until the proxy is started: after the service itself was started, and after a close.
class TicketService final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.qencloud.mav.QenCloud_ticketProtocol")

public:
    /// @param settings  the agent's JSON file, read at each call: "ticketService" may hold "silent", true: no reply
    /// ever comes, and "starts", false: the proxy does not start
    explicit TicketService(QString settings) : m_settings(std::move(settings)) {}

public Q_SLOTS:
    bool startRunProxy();
    /// @param time  the caller's, seconds since 1970; only told
    bool checkIsNewConnection(double time);
    void closeXPCAndProxy();

private:
    bool setting(const QString& name, bool otherwise) const;
    void tell(const char* operation, bool answer);

    const QString m_settings;
    bool m_proxyRuns = false;
};
