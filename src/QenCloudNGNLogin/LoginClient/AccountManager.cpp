#include "AccountManager.h"

#include "ArchiveStore.h"
#include "Deployment.h"
#include "ErrorText.h"
#include "ITDevice.h"
#include "LogRedaction.h"
#include "QenLogHelper.h"
#include "SealedBody.h"
#include "ServerAnswer.h"
#include "StateFiles.h"
#include "StringTable.h"

#include <QDateTime>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

using Platform::Error;
using Platform::HttpRequest;

/// Where a request goes, in what form, and what the log says of it; an empty text writes no line. "%1" stands for the
/// URL or the error, "%2" for the body.
struct AccountOperation {
    enum class Body { None, Json, Sealed };

    QString path;
    QString before = {};
    QString failure;
    QString success = {};
    int beforeType = 1;
    int outcomeType = 1;
    /// Seconds.
    double timeout = 20.0;
    Body body = Body::Sealed;
    /// The URL is formed without a look at whether a server is configured.
    bool alwaysFormed = false;
};

namespace {

using Body = AccountOperation::Body;

constexpr int PoolSize = 10;
constexpr int FailureLine = 2;
constexpr int TraceLine = 32;

const AccountOperation Login{u"/api/public/clientlogin/account_login"_s,
    u"[AccountManager] QenCloud account login url:%1 param:%2"_s, u"Account login faild with error:%1"_s,
    u"[AccountManager] QenCloud login success in xpc"_s, TraceLine};
const AccountOperation ScanStatus{.path = u"/api/public/clientlogin/scan_status"_s,
    .before = u"[AccountManager] QenCloud check QR stauts url:%1"_s,
    .failure = u"Check QR status faild with error:%1"_s,
    .beforeType = TraceLine,
    .timeout = 2.0,
    .body = Body::Json};
const AccountOperation Ticket{.path = u"/api/public/clientlogin/ticket_auth"_s,
    .before = u"[AccountManager] QenCloud check ticket status url:%1 param:%2"_s,
    .failure = u"checkTicketState faild with error:%1"_s,
    .success = u"Check ticket success"_s,
    .beforeType = TraceLine,
    .timeout = 3.0};
const AccountOperation Domain{.path = u"/api/public/clientlogin/ad_auth"_s,
    .failure = u"Check Domain account failed with error: %1"_s,
    .outcomeType = FailureLine,
    .alwaysFormed = true};
const AccountOperation Logout{u"/api/public/clientlogin/logout"_s, u"[AccountManager] QenCloud logout url:%1"_s,
    u"QenCloud logout faild with error:%1"_s, u" QenCloud logout response success"_s};
const AccountOperation Reset{u"/api/public/clientlogin/resetpass"_s,
    u"[AccountManager] QenCloud resetpassword url:%1"_s, u"QenCloud resetpassword faild with error:%1"_s,
    u"[AccountManager] QenCloud resetpassword success in xpc"_s};
const AccountOperation Retrieve{u"/api/public/clientlogin/retrieve_password"_s,
    u"[AccountManager] QenCloud retrievePassWord url:%1"_s, u"QenCloud retrievePassWord faild with error:%1"_s,
    u" QenCloud retrievePassWord response success"_s};
const AccountOperation Config{.path = u"/api/public/client/start_config"_s,
    .failure = u"Get Config faild with error:%1"_s,
    .timeout = 3.0,
    .body = Body::None};
const AccountOperation Policy{.path = u"/qen/ngnpolicy?ostype=mac"_s,
    .failure = u"Get NGN Policy faild with error:%1"_s,
    .timeout = 3.0,
    .body = Body::None};

} // namespace

AccountManager::AccountManager(World world)
    : m_world(std::move(world)), m_pool(Deployment::LoginQueueLabel, PoolSize), m_queue(m_pool.queue()) {}

void AccountManager::start(const HttpRequest& request, Completion complete) {
    m_queue.asyncOrHere([this, request, complete = std::move(complete)]() mutable {
        m_sessionMgr.sendForJson(request, describing(std::move(complete)));
    });
}

void AccountManager::send(const AccountOperation& operation, const QJsonObject& parameters, Completion complete) {
    HttpRequest request{.method = operation.body == Body::None ? "GET" : "POST", .timeout = operation.timeout};
    if (operation.body == Body::Sealed)
        request.body = SealedBody::encryptResquestParams(parameters);
    else if (operation.body == Body::Json) {
        request.body = QJsonDocument(parameters).toJson(QJsonDocument::Compact);
        request.contentType = "application/json";
    }
    const auto url =
        operation.alwaysFormed ? requestUrlWithPath(operation.path) : GetReqeustUrlWithPath(operation.path);
    if (!url) {
        const Error error(Platform::UrlErrorDomain, NoServerConfigured, localizedString(u"NoIPofIntranet"_s));
        complete({}, describedError(error));
        return;
    }
    request.url = *url;
    if (const QString& before = operation.before; !before.isEmpty())
        m_world.log.writeLog(before.contains(u"%2") ? before.arg(*url, logDigest(request.body)) : before.arg(*url),
            operation.beforeType);
    start(request, [this, &operation, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        const QString line = error ? operation.failure.arg(error.logText()) : operation.success;
        if (!line.isEmpty())
            m_world.log.writeLog(line, operation.outcomeType);
        complete(answer, error);
    });
}

void AccountManager::PostResquestDicWithParamDic(const QJsonObject& parameters, Completion complete) {
    send(Login, createAccountUrl(parameters), std::move(complete));
}

void AccountManager::checkQRLoginState(qint64 clientoper, Completion complete) {
    send(ScanStatus, checkStatusParam(clientoper), std::move(complete));
}

void AccountManager::checkTicketState(const QString& ticket, Completion complete) {
    send(Ticket, checkTicketParam(ticket), std::move(complete));
}

void AccountManager::loginOut(const QJsonObject& parameters, Completion complete) {
    send(Logout, parameters, std::move(complete));
}

void AccountManager::ResetPassword(const QJsonObject& parameters, Completion complete) {
    send(Reset, encodeResetPassword(parameters), std::move(complete));
}

void AccountManager::retrievePassWord(const QJsonObject& parameters, Completion complete) {
    send(Retrieve, parameters, std::move(complete));
}

void AccountManager::GeneralConfig(Completion complete) {
    send(Config, {}, std::move(complete));
}

void AccountManager::checkDomainAccount(const QString& account, const QString& domain, DomainCompletion completion) {
    GetMacAndIP();
    send(Domain, {{"uid", account}, {"dc", domain}, {"deviceid", m_world.device.uuid()}, {"mac", login_Mac()}},
        [this, completion = std::move(completion)](const QJsonObject& answer, const Error& error) {
            if (error || ServerAnswer::ret(answer) != 0) {
                completion(false, std::nullopt, error);
                return;
            }
            std::optional<QString> userName;
            if (answer.value(u"data").isObject())
                userName = ServerAnswer::data(answer).value(u"user_name").toString(""_L1);
            m_world.log.writeLog(u"CHECK DOMAIN ACCOUNT SUCCESS"_s, FailureLine);
            completion(true, userName, {});
        });
}

void AccountManager::GetGeneralNGNPolicyRep(Completion complete) {
    send(Policy, {}, [this, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        complete(error ? answer : openedPolicy(answer), error);
    });
}

QJsonObject AccountManager::openedPolicy(const QJsonObject& answer) {
    const std::lock_guard lock(m_mutex);
    if (!m_sealedPolicy.isEmpty() && answer == m_sealedPolicy) {
        m_world.log.writeLog(u"Get NGN Policy success with reponse:%1"_s.arg(m_policyDigest + u" unchanged"_s));
        return m_policy;
    }
    m_sealedPolicy = answer;
    m_policy = SealedBody::opened(answer, {"data"_L1, "office_data"_L1});
    m_policyDigest = logDigest(QJsonDocument(m_policy).toJson(QJsonDocument::Compact));
    m_world.log.writeLog(u"Get NGN Policy success with reponse:%1"_s.arg(redacted(m_policy)));
    return m_policy;
}

QString AccountManager::getNowTimeTimestamp() {
    constexpr double MillisecondsASecond = 1000.0;
    return QString::number(static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / MillisecondsASecond, 'f', 0);
}

QString AccountManager::getSoleID() {
    const auto stored =
        unarchiveObjectWithFile(m_world.applicationSupport + u'/' + StateFiles::UserFolder + u'/' + StateFiles::SoleId);
    const QString soleId = stored && stored->isString() ? stored->string() : QString();
    m_world.log.writeLog(u"[AccountManager] QenCloud get soleID:%1"_s.arg(soleId), TraceLine);
    return soleId.isNull() ? QString(""_L1) : soleId;
}

void AccountManager::GetMacAndIP() {
    const ITDevice::Addresses addresses = m_world.device.addresses();
    const std::lock_guard lock(m_mutex);
    m_loginMac = addresses.mac.join(u';');
    m_loginIp = addresses.ip.join(u';');
}

QString AccountManager::login_Mac() const {
    const std::lock_guard lock(m_mutex);
    return m_loginMac;
}

QString AccountManager::login_ip() const {
    const std::lock_guard lock(m_mutex);
    return m_loginIp;
}

/// What login, password reset and the text of the QR code say of the device.
QJsonObject AccountManager::deviceParameters() {
    GetMacAndIP();
    return {{"device_type", "PC"}, {"deviceid", m_world.device.uuid()}, {"hostname", m_world.device.machineName()},
        {"ip", login_ip()}, {"mac", login_Mac()}, {"os", m_world.device.osName()}, {"timestamp", getNowTimeTimestamp()},
        {"soleid", getSoleID()}};
}

QJsonObject AccountManager::createAccountUrl(const QJsonObject& parameters) {
    QJsonObject sealed = deviceParameters();
    const QString otp = parameters.value(u"otp").toString();
    if (!otp.isEmpty())
        sealed.insert(u"otp", otp);
    sealed.insert(u"logintype", otp.isEmpty() ? 0 : 1);
    sealed.insert(u"password", parameters.value(u"password"));
    sealed.insert(u"userid", parameters.value(u"userid"));
    return sealed;
}

QJsonObject AccountManager::encodeResetPassword(const QJsonObject& parameters) {
    QJsonObject sealed = deviceParameters();
    for (const auto key : {"userid"_L1, "old_password"_L1, "password"_L1})
        sealed.insert(key, parameters.value(key));
    sealed.insert(u"logintype", 0);
    return sealed;
}

QJsonObject AccountManager::checkTicketParam(const QString& ticket) {
    GetMacAndIP();
    const QString userId = m_world.userid ? m_world.userid() : QString();
    return {{"ticket", ticket}, {"hostname", m_world.device.machineName()}, {"mac", login_Mac()},
        {"userid", userId.isNull() ? QString(""_L1) : userId}, {"deviceid", m_world.device.uuid()}};
}

QJsonObject AccountManager::checkStatusParam(qint64 clientoper) {
    GetMacAndIP();
    return {{"hostname", m_world.device.machineName()}, {"deviceid", m_world.device.uuid()}, {"mac", login_Mac()},
        {"clientoper", clientoper}, {"soleid", getSoleID()}};
}
