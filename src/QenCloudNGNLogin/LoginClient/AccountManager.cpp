#include "AccountManager.h"

#include "ErrorText.h"
#include "IntegerValue.h"
#include "LogRedaction.h"
#include "QenLogHelper.h"
#include "SealedBody.h"
#include "StringTable.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

using Platform::Error;
using Platform::HttpRequest;

namespace {

constexpr int FailureLine = 2;
constexpr int TraceLine = 32;
// Seconds.
constexpr double GetTimeout = 3.0;
constexpr double ScanStatusTimeout = 2.0;
constexpr double TicketTimeout = 3.0;

const QString LoginPath = u"/api/public/clientlogin/account_login"_s;
const QString ScanStatusPath = u"/api/public/clientlogin/scan_status"_s;
const QString TicketPath = u"/api/public/clientlogin/ticket_auth"_s;
const QString DomainPath = u"/api/public/clientlogin/ad_auth"_s;
const QString LogoutPath = u"/api/public/clientlogin/logout"_s;
const QString ResetPath = u"/api/public/clientlogin/resetpass"_s;
const QString RetrievePath = u"/api/public/clientlogin/retrieve_password"_s;
const QString ConfigPath = u"/api/public/client/start_config"_s;
const QString PolicyPath = u"/qen/ngnpolicy?ostype=mac"_s;

} // namespace

/// What the log says of one request; an empty text writes no line. "%1" stands for the URL or the error, "%2" for the
/// body.
struct AccountManager::LogTexts {
    QString before = {};
    int beforeType = 1;
    QString failure = {};
    QString success = {};
    int outcomeType = 1;
};

struct AccountManager::SealedRequest {
    /// Sealed.
    QByteArray body = {};
    QString path = {};
    LogTexts texts = {};
    /// Seconds.
    double timeout = 20.0;
    /// The URL is formed without a look at whether a server is configured.
    bool alwaysFormed = false;
};

AccountManager::AccountManager(World world) : m_world(world), m_queue(m_pool.queue()) {}

void AccountManager::start(const HttpRequest& request, Completion complete) {
    m_queue.asyncOrHere([this, request, complete = std::move(complete)]() mutable {
        createAFHTTPSessionMgr().sendForJson(request, describing(std::move(complete)));
    });
}

std::optional<QString> AccountManager::urlOrFail(const QString& path, const Completion& complete) {
    auto url = GetReqeustUrlWithPath(path);
    if (!url)
        complete({}, Error(Platform::UrlErrorDomain, NoServerConfigured, localizedString(u"NoIPofIntranet"_s)));
    return url;
}

void AccountManager::sendSealed(const SealedRequest& sealed, Completion complete) {
    const auto url = sealed.alwaysFormed ? requestUrlWithPath(sealed.path) : urlOrFail(sealed.path, complete);
    if (!url)
        return;
    if (const QString& before = sealed.texts.before; !before.isEmpty())
        m_world.log.writeLog(before.contains(u"%2") ? before.arg(*url, logDigest(sealed.body)) : before.arg(*url),
            sealed.texts.beforeType);
    const HttpRequest request{
        .url = *url, .method = "POST", .body = sealed.body, .contentType = {}, .timeout = sealed.timeout};
    start(request,
        [this, texts = sealed.texts, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
            const QString line = error ? texts.failure.arg(error.logText()) : texts.success;
            if (!line.isEmpty())
                m_world.log.writeLog(line, texts.outcomeType);
            complete(answer, error);
        });
}

void AccountManager::PostResquestDicWithParamDic(const QJsonObject& parameters, Completion complete) {
    sendSealed({.body = SealedBody::encryptResquestParams(createAccountUrl(parameters)),
                   .path = LoginPath,
                   .texts = {.before = u"[AccountManager] QenCloud account login url:%1 param:%2"_s,
                       .beforeType = TraceLine,
                       .failure = u"Account login faild with error:%1"_s,
                       .success = u"[AccountManager] QenCloud login success in xpc"_s}},
        std::move(complete));
}

void AccountManager::checkTicketState(const QString& ticket, Completion complete) {
    sendSealed({.body = SealedBody::encryptResquestParams(checkTicketParam(ticket)),
                   .path = TicketPath,
                   .texts = {.before = u"[AccountManager] QenCloud check ticket status url:%1 param:%2"_s,
                       .beforeType = TraceLine,
                       .failure = u"checkTicketState faild with error:%1"_s,
                       .success = u"Check ticket success"_s},
                   .timeout = TicketTimeout},
        std::move(complete));
}

void AccountManager::loginOut(const QJsonObject& parameters, Completion complete) {
    sendSealed({.body = SealedBody::logoutEncryptionWithParam(parameters),
                   .path = LogoutPath,
                   .texts = {.before = u"[AccountManager] QenCloud logout url:%1"_s,
                       .failure = u"QenCloud logout faild with error:%1"_s,
                       .success = u" QenCloud logout response success"_s}},
        std::move(complete));
}

void AccountManager::ResetPassword(const QJsonObject& parameters, Completion complete) {
    sendSealed({.body = SealedBody::encryptResquestParams(encodeResetPassword(parameters)),
                   .path = ResetPath,
                   .texts = {.before = u"[AccountManager] QenCloud resetpassword url:%1"_s,
                       .failure = u"QenCloud resetpassword faild with error:%1"_s,
                       .success = u"[AccountManager] QenCloud resetpassword success in xpc"_s}},
        std::move(complete));
}

void AccountManager::retrievePassWord(const QJsonObject& parameters, Completion complete) {
    auto describe = [complete = std::move(complete)](
                        const QJsonObject& answer, const Error& error) { complete(answer, normalisedError(error)); };
    sendSealed({.body = SealedBody::encryptResquestParams(parameters),
                   .path = RetrievePath,
                   .texts = {.before = u"[AccountManager] QenCloud retrievePassWord url:%1"_s,
                       .failure = u"QenCloud retrievePassWord faild with error:%1"_s,
                       .success = u" QenCloud retrievePassWord response success"_s}},
        std::move(describe));
}

void AccountManager::checkDomainAccount(const QString& account, const QString& domain,
    std::function<void(bool, std::optional<QString>, const Error&)> completion) {
    GetMacAndIP();
    auto judge = [this, completion = std::move(completion)](const QJsonObject& answer, const Error& error) {
        if (error || integerValue(answer.value(u"ret")) != 0) {
            completion(false, std::nullopt, error);
            return;
        }
        const QJsonValue data = answer.value(u"data");
        std::optional<QString> userName;
        if (data.isObject())
            userName = data.toObject().value(u"user_name").toString(""_L1);
        m_world.log.writeLog(u"CHECK DOMAIN ACCOUNT SUCCESS"_s, FailureLine);
        completion(true, userName, {});
    };
    sendSealed({.body = SealedBody::encryptResquestParams(
                    {{"uid", account}, {"dc", domain}, {"deviceid", deviceId()}, {"mac", login_Mac()}}),
                   .path = DomainPath,
                   .texts = {.failure = u"Check Domain account failed with error: %1"_s,
                       .success = {},
                       .outcomeType = FailureLine},
                   .alwaysFormed = true},
        std::move(judge));
}

void AccountManager::checkQRLoginState(qint64 clientoper, Completion complete) {
    const QJsonObject parameters = checkStatusParam(clientoper);
    const auto url = urlOrFail(ScanStatusPath, complete);
    if (!url)
        return;
    m_world.log.writeLog(u"[AccountManager] QenCloud check QR stauts url:%1"_s.arg(*url), TraceLine);
    const HttpRequest request{.url = *url,
        .method = "POST",
        .body = QJsonDocument(parameters).toJson(QJsonDocument::Compact),
        .contentType = "application/json",
        .timeout = ScanStatusTimeout};
    start(request, reporting(u"Check QR status faild with error:%1"_s, std::move(complete)));
}

AccountManager::Completion AccountManager::reporting(const QString& failureText, Completion complete) {
    return [this, failureText, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        if (error)
            m_world.log.writeLog(failureText.arg(error.logText()));
        complete(answer, error);
    };
}

void AccountManager::get(const QString& path, const QString& failureText, Completion complete) {
    const auto url = urlOrFail(path, complete);
    if (!url)
        return;
    const HttpRequest request{.url = *url, .timeout = GetTimeout};
    start(request, reporting(failureText, std::move(complete)));
}

void AccountManager::GeneralConfig(Completion complete) {
    get(ConfigPath, u"Get Config faild with error:%1"_s, std::move(complete));
}

QJsonObject AccountManager::openedPolicy(const QJsonObject& answer) {
    const std::lock_guard lock(m_mutex);
    if (!m_sealedPolicy.isEmpty() && answer == m_sealedPolicy) {
        m_world.log.writeLog(u"Get NGN Policy success with reponse:%1"_s.arg(m_policyDigest + u" unchanged"_s));
        return m_policy;
    }
    QJsonObject copy = answer;
    for (const auto& key : {u"data"_s, u"office_data"_s}) {
        const auto opened = SealedBody::decodeSM4(answer.value(key).toString());
        if (opened)
            copy.insert(key, *opened);
        else
            copy.remove(key);
    }
    m_world.log.writeLog(u"Get NGN Policy success with reponse:%1"_s.arg(redacted(copy)));
    m_sealedPolicy = answer;
    m_policyDigest = logDigest(QJsonDocument(copy).toJson(QJsonDocument::Compact));
    m_policy = copy;
    return copy;
}

void AccountManager::GetGeneralNGNPolicyRep(Completion complete) {
    auto open = [this, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        if (error)
            complete(answer, error);
        else
            complete(openedPolicy(answer), {});
    };
    get(PolicyPath, u"Get NGN Policy faild with error:%1"_s, std::move(open));
}
