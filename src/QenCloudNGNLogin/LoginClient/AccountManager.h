#pragma once

#include "Completion.h"
#include "Error.h"
#include "HttpSession.h"
#include "Shared.h"

#include <QImage>
#include <QJsonObject>

#include <functional>
#include <mutex>
#include <optional>

class ITDevice;
class QenAnalyseDomain;
class QenLogHelper;
class QenServerConfig;
struct AccountOperation;

/// The one object through which the client calls the management server's account API.
///
/// Holds no login state: each request is built from the caller's values, the device facts, the sole id file and the
/// server configuration at the time of the call. A completion is called exactly once with (answer, error): on the
/// network thread, or at once on the caller's thread with code 1234 when no server is configured. Its errors have a
/// text for the person.
class AccountManager final {
public:
    using Completion = Platform::Completion<QJsonObject, Platform::Error>;
    /// Success flag, user name, error.
    using DomainCompletion = std::function<void(bool, std::optional<QString>, const Platform::Error&)>;

    struct World {
        QenServerConfig& config;
        QenAnalyseDomain& domain;
        ITDevice& device;
        QenLogHelper& log;
        /// The user's Application Support folder.
        QString applicationSupport;
        /// User id of the signed-in record; null without one. Any thread.
        std::function<QString()> userid;
    };

    /// The error's code when no server is configured.
    static constexpr qint64 NoServerConfigured = 1234;

    explicit AccountManager(World world);
    static AccountManager& shareManager() { return Platform::Shared<AccountManager>::instance(); }

    /// Account login. @param parameters  "userid", "password", "otp"
    void PostResquestDicWithParamDic(const QJsonObject& parameters, Completion complete);
    /// One poll of the QR sign-in. @param clientoper  1 reports a pending logout
    void checkQRLoginState(qint64 clientoper, Completion complete);
    void checkTicketState(const QString& ticket, Completion complete);
    void checkDomainAccount(const QString& account, const QString& domain, DomainCompletion completion);
    void loginOut(const QJsonObject& parameters, Completion complete);
    /// @param parameters  "userid", "old_password", "password"
    void ResetPassword(const QJsonObject& parameters, Completion complete);
    /// @param parameters  "user_id"
    void retrievePassWord(const QJsonObject& parameters, Completion complete);
    void GeneralConfig(Completion complete);
    /// The answer's "data" and "office_data" arrive unsealed.
    void GetGeneralNGNPolicyRep(Completion complete);

    /// Text of the sign-in QR code; nothing without a domain server.
    std::optional<QString> createQRPath();
    /// The QR code at @p side x @p side points, two pixels a point; null without a domain server.
    QImage createQRForString(double side);

    /// Chooses the network and blocks for up to 6 seconds: 1 extranet, 0 intranet. Without a configured server @p
    /// completion is never called: whoever waits needs a limit of its own. Not on the main or network thread.
    void NetWorkType(const std::function<void(int)>& completion);
    void pingServerResult(Platform::Completion<bool> completion);

    /// The full URL, or nothing without an intranet server.
    std::optional<QString> GetReqeustUrlWithPath(const QString& path);
    QString requestUrlWithPath(const QString& path);
    /// The shared session. Each request carries its own time-out, so that none can inherit another's.
    Platform::HttpSession& createAFHTTPSessionMgr() { return m_sessionMgr; }

    /// The archived sole id, or the empty string.
    QString getSoleID();
    /// The addresses that the last request sent.
    QString login_Mac() const;
    QString login_ip() const;
    /// Whole seconds since 1970.
    static QString getNowTimeTimestamp();

private:
    void send(const AccountOperation& operation, const QJsonObject& parameters, Completion complete);
    void start(const Platform::HttpRequest& request, Completion complete);
    bool isReachable(const QString& probeUrl);
    void GetMacAndIP();

    QJsonObject openedPolicy(const QJsonObject& answer);
    QJsonObject createAccountUrl(const QJsonObject& parameters);
    QJsonObject encodeResetPassword(const QJsonObject& parameters);
    QJsonObject checkTicketParam(const QString& ticket);
    QJsonObject checkStatusParam(qint64 clientoper);
    QJsonObject deviceParameters();

    World m_world;
    mutable std::mutex m_mutex;
    QString m_loginMac;
    QString m_loginIp;
    /// The gateway policy as it came last, and with its parts unsealed.
    QJsonObject m_sealedPolicy;
    QJsonObject m_policy;
    QString m_policyDigest;
    Platform::HttpSession m_sessionMgr{{.acceptAnyServerCertificate = true, .requestTimeout = 3.0}};
    Platform::QueuePool m_pool;
    /// One of the pool: requests start in the order of their calls.
    Platform::SerialQueue& m_queue;
};
