#include "iNacNetwork.h"

#include "Deployment.h"
#include "ErrorText.h"
#include "LogRedaction.h"
#include "Pkcs12.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "SealedBody.h"
#include "StringTable.h"
#include "SystemLog.h"

using namespace Qt::StringLiterals;

using Platform::ClientIdentity;
using Platform::Error;
using Platform::HttpSession;

namespace {

/// Seconds.
constexpr double RequestTimeout = 20.0;
/// Completions of certificate requests that may run at the same time.
constexpr int CompletionQueues = 4;

const QString IdentityPassword = u"482915"_s;
const QString ConfigPath = u"/api/public/client/start_config"_s;
const QString CertificatePath = u"/api/inac/ca/getcert"_s;
const QString StatusPath = u"/api/inac/ca/checkstatus"_s;

QString orNull(const QString& text) {
    return text.isNull() ? u"(null)"_s : text;
}

} // namespace

iNacNetwork::iNacNetwork(QenServerConfig& config, QenLogHelper& log, std::function<QByteArray()> clientFile)
    : m_config(config), m_log(log), m_clientFile(std::move(clientFile)),
      m_completionQueue(Deployment::NacRequestQueueLabel, CompletionQueues) {}

iNacNetwork::~iNacNetwork() {
    if (!m_httpsSessionMgr)
        return;
    m_httpsSessionMgr.reset();
    Platform::systemLog(u"setSessionDidBecomeInvalidBlock"_s);
}

HttpSession& iNacNetwork::createAFHTTPSessionMgr() {
    std::call_once(m_plainMade, [this] {
        m_httpSessionMgr = std::make_unique<HttpSession>(
            Platform::HttpSettings{.acceptAnyServerCertificate = true, .requestTimeout = RequestTimeout});
    });
    return *m_httpSessionMgr;
}

HttpSession& iNacNetwork::createAFHTTPSSessionMgr() {
    std::call_once(m_securedMade, [this] {
        m_httpsSessionMgr = std::make_unique<HttpSession>(Platform::HttpSettings{.acceptAnyServerCertificate = true,
            .requestTimeout = RequestTimeout,
            .acceptableContentTypes = {"application/json", "text/json", "text/javascript", "text/html", "text/plain"},
            .clientIdentity = [this] { return identityForChallenge(); }});
    });
    return *m_httpsSessionMgr;
}

ClientIdentity iNacNetwork::identityForChallenge() const {
    const QByteArray file = m_clientFile();
    ClientIdentity identity;
    QList<QByteArray> trust;
    if (file.isEmpty() || !extractIdentity(&identity, &trust, file, IdentityPassword))
        return {};
    return identity;
}

bool iNacNetwork::extractIdentity(
    ClientIdentity* identity, QList<QByteArray>* trust, const QByteArray& pkcs12Data, const QString& password) {
    const int status = Platform::Pkcs12::open(pkcs12Data, password, trust);
    if (status != Platform::Pkcs12::Success) {
        Platform::systemLog(u"Failedwith error code %1"_s.arg(status));
        return false;
    }
    *identity = {.pkcs12 = pkcs12Data, .password = password};
    return true;
}

void iNacNetwork::get(
    const QString& url, const HttpSession::Parameters& parameters, const QString& failure, Completion complete) {
    auto report = [this, failure, complete = std::move(complete)](const QJsonObject& answer, const Error& error) {
        if (error)
            m_log.writeLog(failure.arg(error.logText()));
        Platform::mainQueue().async([answer, error, complete] { complete(answer, error); });
    };
    createAFHTTPSessionMgr().getJson(url, parameters, describing(std::move(report)));
}

void iNacNetwork::requestGeneralConfig(Completion complete) {
    m_config.readServerConfig();
    if (m_config.domain_server().isNull() || m_config.domain_port() == 0) {
        complete({}, Error(Platform::UrlErrorDomain, NoServerConfigured, localizedString(u"NoIPofIntranet"_s)));
        return;
    }
    // The domain server decides whether to ask, the account server is asked: on purpose.
    const QString url = u"%1://%2:%3%4"_s.arg(
        u"http"_s, orNull(m_config.AcountIP_Config()), QString::number(m_config.AcountIP_Port()), ConfigPath);
    get(url, {}, u"Get Config faild with error:%1"_s, std::move(complete));
}

void iNacNetwork::verifyCerWithSerialNumber(const QString& serialNumber, const QString& url, Completion complete) {
    m_config.readServerConfig();
    get(url + StatusPath, {{u"serial"_s, serialNumber}}, u"Get VerifyCer response faild with error:%1"_s,
        std::move(complete));
}

void iNacNetwork::getInacCerWithInfo(const QJsonObject& info, const QString& url, DataCompletion complete) {
    m_log.writeLog(u"request Inac Cer with params:%1 url:%2"_s.arg(redacted(info), orNull(url)));
    const Platform::HttpRequest request{
        .url = url + CertificatePath, .method = "POST", .body = SealedBody::encryptResquestParams(info)};
    auto hop = [this, complete = std::move(complete)](const QByteArray& answer, const Error& error) {
        m_completionQueue.queue().async([answer, error, complete] { complete(answer, error); });
    };
    createAFHTTPSSessionMgr().sendForData(request, describing(std::move(hop)));
}
