#pragma once

#include "Files.h"
#include "Paths.h"
#include "Shared.h"

#include <QString>

#include <atomic>
#include <mutex>
#include <optional>

using namespace Qt::StringLiterals;

/// The server's addresses as the installation left them, and which of them the account requests use.
///
/// Empty until the first readServerConfig(). Any thread.
class QenServerConfig final {
public:
    /// @param configFile  keyed archive: an array of [server, port] pairs: intranet, extranet, domain
    /// @param userState   folder of the network-type marker "netType.archive"
    QenServerConfig(QString configFile, QString userState);
    static QenServerConfig& sharedInstance() { return Platform::Shared<QenServerConfig>::instance(); }

    /// Loads the file only while there is no intranet server, or when it could not be read the last time.
    void readServerConfig();
    /// Always reads the file again; fields that it lacks keep their value, a missing or damaged file changes nothing.
    void updateServerConfig();

    /// The extranet server when the marker holds exactly "1", else the intranet one; null when absent.
    QString AcountIP_Config() const { return isExtranetChosen() ? extranet_server() : intranet_server(); }
    quint64 AcountIP_Port() const { return isExtranetChosen() ? extranet_port() : intranet_port(); }

    QString intranet_server() const { return read(m_intranet).server; }
    quint64 intranet_port() const { return read(m_intranet).port; }
    QString extranet_server() const { return read(m_extranet).server; }
    quint64 extranet_port() const { return read(m_extranet).port; }
    QString domain_server() const { return read(m_domain).server; }
    quint64 domain_port() const { return read(m_domain).port; }

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
    /// Of the choice that was read last: asked for with every request, read when another file stands there.
    mutable Platform::FileIdentity m_choiceFile;
    mutable bool m_isExtranet = false;
    std::atomic<bool> m_isBehind{false};
    Endpoint m_intranet;
    Endpoint m_extranet;
    Endpoint m_domain;
};

/// Splits the configured domain server string, pieces separated by "#", into a host and a path prefix. Any thread.
class QenAnalyseDomain final {
public:
    static QenAnalyseDomain& sharedInstance() { return Platform::Shared<QenAnalyseDomain>::instance(); }

    /// Fills both properties, once: later calls change nothing.
    void analyseServerConfig(const QString& domainServer);
    QString domain_config() const;
    /// Empty, or beginning with "/".
    QString path_config() const;

private:
    mutable std::mutex m_mutex;
    QString m_domain;
    QString m_path;
};

/// The record of the last used server. A value; any thread.
class QenNetworkInfoModel final {
public:
    qint64 networkType = 0;
    QString record_server = ""_L1;
    qint64 record_port = 0;

    /// @param folder  the agent's data folder
    static std::optional<QenNetworkInfoModel> currentNetRecord(const QString& folder = Platform::Paths::agentState());
    /// True on success, or when the stored record already has this server and port: a change of the network type alone
    /// is not saved, on purpose.
    bool saveModelRecord(const QString& folder = Platform::Paths::agentState()) const;
    /// True only when the file existed and is gone.
    static bool deleteCurrentNetModelRecord(const QString& folder = Platform::Paths::agentState());
    /// Path of "record_server.archive"; with @p check its folder is made first.
    static QString modelSavePathWithCheck(bool check, const QString& folder = Platform::Paths::agentState());
};
