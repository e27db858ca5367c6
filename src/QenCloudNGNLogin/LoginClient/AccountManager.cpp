#include "AccountManager.h"

#include "Bundle.h"
#include "ErrorText.h"
#include "IntegerValue.h"
#include "LogRedaction.h"
#include "QenLogHelper.h"
#include "SealedBody.h"

#include <QJsonDocument>

using Platform::Error;
using Platform::HttpRequest;

namespace {

constexpr int FailureLine = 2;
constexpr int TraceLine = 32;
// Seconds.
constexpr double GetTimeout = 3.0;
constexpr double ScanStatusTimeout = 2.0;
constexpr double TicketTimeout = 3.0;

const QString LoginPath = QStringLiteral("/api/public/clientlogin/account_login");
const QString ScanStatusPath = QStringLiteral("/api/public/clientlogin/scan_status");
const QString TicketPath = QStringLiteral("/api/public/clientlogin/ticket_auth");
const QString DomainPath = QStringLiteral("/api/public/clientlogin/ad_auth");
const QString LogoutPath = QStringLiteral("/api/public/clientlogin/logout");
const QString ResetPath = QStringLiteral("/api/public/clientlogin/resetpass");
const QString RetrievePath = QStringLiteral("/api/public/clientlogin/retrieve_password");
const QString ConfigPath = QStringLiteral("/api/public/client/start_config");
const QString PolicyPath = QStringLiteral("/qen/ngnpolicy?ostype=mac");

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
    QJsonObject parameters = {};
    QString path = {};
    LogTexts texts = {};
    /// Seconds.
    double timeout = 20.0;
    /// The URL is formed without a look at whether a server is configured.
    bool alwaysFormed = false;
};

AccountManager::AccountManager(World world) : m_world(world), m_queue(m_pool.queue()) {}

void AccountManager::start(const HttpRequest& request, Completion complete) {
    m_queue.async([this, request, complete = std::move(complete)]() mutable {
        createAFHTTPSessionMgr().sendForJson(request, std::move(complete));
    });
}

std::optional<QString> AccountManager::urlOrFail(const QString& path, const Completion& complete) {
    auto url = GetReqeustUrlWithPath(path);
    if (!url)
        complete({}, Error(Platform::UrlErrorDomain, NoServerConfigured,
                           Platform::localizedString(QStringLiteral("NoIPofIntranet"))));
    return url;
}

void AccountManager::sendSealed(const SealedRequest& sealed, Completion complete) {
    const QByteArray body = SealedBody::encryptResquestParams(sealed.parameters);
    const auto url = sealed.alwaysFormed ? requestUrlWithPath(sealed.path) : urlOrFail(sealed.path, complete);
    if (!url)
        return;
    if (const QString& before = sealed.texts.before; !before.isEmpty())
        m_world.log.writeLog(before.contains(u"%2") ? before.arg(*url, QString::fromUtf8(body)) : before.arg(*url),
                             sealed.texts.beforeType);
    const HttpRequest request{
        .url = *url, .method = "POST", .body = body, .contentType = {}, .timeout = sealed.timeout};
    start(request,
          [this, texts = sealed.texts, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
              const QString line = error ? texts.failure.arg(error.logText()) : texts.success;
              if (!line.isEmpty())
                  m_world.log.writeLog(line, texts.outcomeType);
              complete(answer, error);
          });
}

void AccountManager::PostResquestDicWithParamDic(const QJsonObject& parameters, Completion complete) {
    sendSealed({.parameters = createAccountUrl(parameters),
                .path = LoginPath,
                .texts = {.before = QStringLiteral("[AccountManager] QenCloud account login url:%1 param:%2"),
                          .beforeType = TraceLine,
                          .failure = QStringLiteral("Account login faild with error:%1"),
                          .success = QStringLiteral("[AccountManager] QenCloud login success in xpc")}},
               std::move(complete));
}

void AccountManager::checkTicketState(const QString& ticket, Completion complete) {
    sendSealed({.parameters = checkTicketParam(ticket),
                .path = TicketPath,
                .texts = {.before = QStringLiteral("[AccountManager] QenCloud check ticket status url:%1 param:%2"),
                          .beforeType = TraceLine,
                          .failure = QStringLiteral("checkTicketState faild with error:%1"),
                          .success = QStringLiteral("Check ticket success")},
                .timeout = TicketTimeout},
               std::move(complete));
}

void AccountManager::loginOut(const QJsonObject& parameters, Completion complete) {
    sendSealed({.parameters = parameters,
                .path = LogoutPath,
                .texts = {.before = QStringLiteral("[AccountManager] QenCloud logout url:%1"),
                          .failure = QStringLiteral("QenCloud logout faild with error:%1"),
                          .success = QStringLiteral(" QenCloud logout response success")}},
               std::move(complete));
}

void AccountManager::ResetPassword(const QJsonObject& parameters, Completion complete) {
    sendSealed({.parameters = encodeResetPassword(parameters),
                .path = ResetPath,
                .texts = {.before = QStringLiteral("[AccountManager] QenCloud resetpassword url:%1"),
                          .failure = QStringLiteral("QenCloud resetpassword faild with error:%1"),
                          .success = QStringLiteral("[AccountManager] QenCloud resetpassword success in xpc")}},
               std::move(complete));
}

void AccountManager::retrievePassWord(const QJsonObject& parameters, Completion complete) {
    auto describe = [complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        complete(answer, normalisedError(error));
    };
    sendSealed({.parameters = parameters,
                .path = RetrievePath,
                .texts = {.before = QStringLiteral("[AccountManager] QenCloud retrievePassWord url:%1"),
                          .failure = QStringLiteral("QenCloud retrievePassWord faild with error:%1"),
                          .success = QStringLiteral(" QenCloud retrievePassWord response success")}},
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
            userName = data.toObject().value(u"user_name").toString(QLatin1String(""));
        m_world.log.writeLog(QStringLiteral("CHECK DOMAIN ACCOUNT SUCCESS"), FailureLine);
        completion(true, userName, {});
    };
    sendSealed({.parameters = {{"uid", account}, {"dc", domain}, {"deviceid", deviceId()}, {"mac", login_Mac()}},
                .path = DomainPath,
                .texts = {.failure = QStringLiteral("Check Domain account failed with error: %1"),
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
    m_world.log.writeLog(QStringLiteral("[AccountManager] QenCloud check QR stauts url:%1").arg(*url), TraceLine);
    const HttpRequest request{.url = *url,
                              .method = "POST",
                              .body = QJsonDocument(parameters).toJson(QJsonDocument::Compact),
                              .contentType = "application/json",
                              .timeout = ScanStatusTimeout};
    start(request, reporting(QStringLiteral("Check QR status faild with error:%1"), std::move(complete)));
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
    get(ConfigPath, QStringLiteral("Get Config faild with error:%1"), std::move(complete));
}

void AccountManager::GetGeneralNGNPolicyRep(Completion complete) {
    auto open = [this, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        if (error) {
            complete(answer, error);
            return;
        }
        QJsonObject copy = answer;
        for (const auto& key : {QStringLiteral("data"), QStringLiteral("office_data")}) {
            const auto opened = SealedBody::decodeSM4(answer.value(key).toString());
            if (opened)
                copy.insert(key, *opened);
            else
                copy.remove(key);
        }
        m_world.log.writeLog(QStringLiteral("Get NGN Policy success with reponse:%1").arg(redacted(copy)));
        complete(copy, {});
    };
    get(PolicyPath, QStringLiteral("Get NGN Policy faild with error:%1"), std::move(open));
}
