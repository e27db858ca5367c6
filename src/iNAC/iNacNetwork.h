#pragma once

#include "Error.h"
#include "HttpSession.h"
#include "Queue.h"
#include "Shared.h"

#include <QJsonObject>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>

class QenLogHelper;
class QenServerConfig;

/// The HTTP client of network access control: start configuration, certificate request and certificate status.
///
/// Every completion is called exactly once with (answer, error), one of them present, and a failure is logged. No
/// retries. Any thread may call.
class iNacNetwork final {
public:
    using Completion = std::function<void(const QJsonObject& answer, const Platform::Error& error)>;
    using DataCompletion = std::function<void(const QByteArray& answer, const Platform::Error& error)>;

    /// The error's code when no server is configured.
    static constexpr qint64 NoServerConfigured = 1234;

    /// @param clientFile  content of the bundle's "client" "p12" file, empty without one; asked on the network thread
    /// whenever a server wants a certificate
    iNacNetwork(QenServerConfig& config, QenLogHelper& log, std::function<QByteArray()> clientFile);
    /// Cancels what is under way and waits for the completions on the HTTPS manager's queue.
    ~iNacNetwork();
    static iNacNetwork& sharedInstance() { return Platform::Shared<iNacNetwork>::instance(); }

    /// GET of the public start configuration. Completes on the main queue; at once, on the caller's thread and without
    /// a request while there is no domain server or port.
    void requestGeneralConfig(Completion complete);
    /// Asks the server whether the certificate with this serial number is still good. Completes on the main queue.
    /// @param url  base address of the server
    void verifyCerWithSerialNumber(const QString& serialNumber, const QString& url, Completion complete);
    /// POST of the sealed certificate request. Completes with the raw answer on the HTTPS manager's queue.
    void getInacCerWithInfo(const QJsonObject& info, const QString& url, DataCompletion complete);

    /// JSON over whatever scheme the address has; any server certificate. Made on first use; every call sets the
    /// request time-out to 20 seconds.
    Platform::HttpSession& createAFHTTPSessionMgr();
    /// Raw answers; any server certificate, and the client's own on challenge. Made on first use.
    Platform::HttpSession& createAFHTTPSSessionMgr();

    /// @param identity  the file with its password, to be presented  @param trust  the file's certificates in DER, the
    /// identity's own first
    /// @returns false, with a line in the system log and nothing changed, for a file that cannot be opened
    static bool extractIdentity(Platform::ClientIdentity* identity, QList<QByteArray>* trust,
        const QByteArray& pkcs12Data, const QString& password);

private:
    Platform::ClientIdentity identityForChallenge() const;
    void get(const QString& url, const Platform::HttpSession::Parameters& parameters, const QString& failure,
        Completion complete);

    QenServerConfig& m_config;
    QenLogHelper& m_log;
    const std::function<QByteArray()> m_clientFile;
    std::once_flag m_plainMade;
    std::once_flag m_securedMade;
    /// Completions of the HTTPS manager. Before the sessions, whose end still hands completions over.
    Platform::QueuePool m_completionQueue;
    std::unique_ptr<Platform::HttpSession> m_httpSessionMgr;
    std::unique_ptr<Platform::HttpSession> m_httpsSessionMgr;
};
