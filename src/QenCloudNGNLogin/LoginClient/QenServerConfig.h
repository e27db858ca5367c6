#pragma once

#include "Files.h"
#include "Shared.h"

#include <QString>

#include <mutex>
#include <optional>

/// The server's addresses as the installation left them, and which of them the account requests use.
///
/// Empty until the first readServerConfig(). Any thread.
class QenServerConfig final {
public:
    /// @param configFile  keyed archive: an array of [server, port] pairs: intranet, extranet, domain
    /// @param userState   folder of the network-type marker "netType.archive"
    QenServerConfig(QString configFile, QString userState);
    static QenServerConfig& sharedInstance() { return Platform::Shared<QenServerConfig>::instance(); }

    /// Loads the file only while there is no intranet server.
    void readServerConfig();
    /// Always reads the file again; fields that it lacks keep their value, a missing or damaged file changes nothing.
    void updateServerConfig();

    /// The extranet server when the marker holds exactly "1", else the intranet one; null when absent.
    QString AcountIP_Config() const;
    quint64 AcountIP_Port() const;

    QString intranet_server() const;
    quint64 intranet_port() const;
    QString extranet_server() const;
    quint64 extranet_port() const;
    QString domain_server() const;
    quint64 domain_port() const;

private:
    struct Endpoint {
        QString server;
        quint64 port = 0;
    };
    Endpoint read(const Endpoint& endpoint) const;
    bool isExtranetChosen() const;

    const QString m_configFile;
    const QString m_userState;
    mutable std::mutex m_mutex;
    Endpoint m_intranet;
    Endpoint m_extranet;
    Endpoint m_domain;
    /// The marker as it was read last.
    mutable std::optional<Platform::FileIdentity> m_marker;
    mutable bool m_isExtranet = false;
};
