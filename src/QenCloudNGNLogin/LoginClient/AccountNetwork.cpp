#include "AccountManager.h"

#include "ITDevice.h"
#include "LogRedaction.h"
#include "Paths.h"
#include "QRCode.h"
#include "QenAnalyseDomain.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "QenUrlEncode.h"
#include "SealedBody.h"

#include <condition_variable>

using namespace Qt::StringLiterals;

using Platform::Error;
using Platform::HttpSession;

namespace {

constexpr int TraceLine = 32;
constexpr double DefaultTimeout = 3.0;
constexpr double ProbeTimeout = 2.0;
constexpr double PingTimeout = 5.0;
constexpr std::chrono::seconds ProbeWait{3};

const QString PingPath = u"/qen/ping"_s;
const QString ScanPath = u"/api/public/clientlogin/scan_login?v="_s;

QString orNull(const QString& text) {
    return text.isNull() ? u"(null)"_s : text;
}

QString requestUrl(const QString& server, quint64 port, const QString& path) {
    return u"http://%1:%2%3"_s.arg(orNull(server), QString::number(port), path);
}

/// Outcome of one probe, shared with a handler that may come late.
struct Probe {
    std::mutex mutex;
    std::condition_variable answered;
    bool success = false;
};

} // namespace

HttpSession& AccountManager::createAFHTTPSessionMgr() {
    std::call_once(m_sessionMade, [this] {
        m_sessionMgr = std::make_unique<HttpSession>(
            Platform::HttpSettings{.acceptAnyServerCertificate = true, .requestTimeout = DefaultTimeout});
    });
    return *m_sessionMgr;
}

std::optional<QString> AccountManager::GetReqeustUrlWithPath(const QString& path) {
    m_world.config.readServerConfig();
    // The intranet pair decides even when the extranet one is then used.
    if (m_world.config.intranet_server().isNull() || m_world.config.intranet_port() == 0) {
        m_world.log.writeLog(u"Service Config no compliance,UrlStr==nil"_s);
        return std::nullopt;
    }
    return requestUrl(m_world.config.AcountIP_Config(), m_world.config.AcountIP_Port(), path);
}

QString AccountManager::requestUrlWithPath(const QString& path) {
    m_world.config.readServerConfig();
    m_world.domain.analyseServerConfig(m_world.config.domain_server());
    return requestUrl(m_world.config.AcountIP_Config(), m_world.config.AcountIP_Port(), path);
}

bool AccountManager::isReachable(const QString& probeUrl) {
    const auto probe = std::make_shared<Probe>();
    createAFHTTPSessionMgr().sendForJson(
        {.url = probeUrl, .timeout = ProbeTimeout}, [probe](const QJsonObject&, const Error& error) {
            const std::lock_guard lock(probe->mutex);
            probe->success = !error;
            // A failure does not end the wait, on purpose: a failed probe always costs
            // the full time.
            if (!error)
                probe->answered.notify_all();
        });
    std::unique_lock lock(probe->mutex);
    return probe->answered.wait_for(lock, ProbeWait, [&] { return probe->success; });
}

void AccountManager::NetWorkType(const std::function<void(int)>& completion) {
    QenServerConfig& config = m_world.config;
    config.readServerConfig();
    if (config.domain_server().isNull() || config.domain_port() == 0) {
        m_world.log.writeLog(u"没有配置IP和端口"_s);
        return;
    }
    const QString intranet = requestUrl(config.intranet_server(), config.intranet_port(), PingPath);
    const QString extranet = requestUrl(config.extranet_server(), config.extranet_port(), PingPath);
    const bool isIntranet = isReachable(intranet);
    const bool isExtranet = !isIntranet && isReachable(extranet);
    if (isExtranet) {
        m_world.log.writeLog(u"[AccountManager] QenCloud networktpye is Extranet URL:%1"_s.arg(extranet));
    } else if (isIntranet) {
        m_world.log.writeLog(u"[AccountManager] QenCloud networktpye is Intranet URL:%1"_s.arg(intranet));
    } else {
        m_world.log.writeLog(u"[AccountManager] QenCloud networktpye is no network,The default is Intranet"_s);
    }
    completion(isExtranet ? 1 : 0);
}

void AccountManager::pingServerResult(Platform::Completion<bool> completion) {
    m_world.config.updateServerConfig();
    const auto url = GetReqeustUrlWithPath(PingPath);
    if (!url) {
        completion(false);
        return;
    }
    start({.url = *url, .timeout = PingTimeout},
        [this, completion = std::move(completion)](const QJsonObject& answer, const Error& error) {
            m_world.log.writeLog(error ? u"ping server faild with error:%1"_s.arg(error.logText())
                                       : u"ping server success with response:%1"_s.arg(redacted(answer)));
            completion(!error);
        });
}

std::optional<QString> AccountManager::createQRPath() {
    const auto address = qrAddress();
    return address ? std::optional(*address + qrSealed()) : std::nullopt;
}

std::optional<QString> AccountManager::qrAddress() {
    m_world.config.readServerConfig();
    const QString server = m_world.config.domain_server();
    const quint64 port = m_world.config.domain_port();
    if (server.isNull() || port == 0)
        return std::nullopt;
    m_world.domain.analyseServerConfig(server);
    return u"https://%1:%2%3%4"_s.arg(
        m_world.domain.domain_config(), QString::number(port), m_world.domain.path_config(), ScanPath);
}

QString AccountManager::qrSealed() {
    return QenUrlEncode::urlencodWithData(SealedBody::encryptResquestParams(qrParameters()));
}

QImage AccountManager::createQRForString(double side) {
    const auto address = qrAddress();
    if (!address)
        return {};
    const QString sealed = qrSealed();
    m_world.log.writeLog(
        u"[AccountManager] QenCloud create QR string:%1"_s.arg(*address + logDigest(sealed.toLatin1())), TraceLine);
    return qrCodeImage((*address + sealed).toUtf8(), side);
}
