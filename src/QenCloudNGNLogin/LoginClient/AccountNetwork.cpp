#include "AccountManager.h"

#include "ITDevice.h"
#include "LogRedaction.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "SealedBody.h"

#include <qrencode.h>

#include <future>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

constexpr int TraceLine = 32;
constexpr double ProbeTimeout = 2.0;
constexpr double PingTimeout = 5.0;
constexpr std::chrono::seconds ProbeWait{3};
constexpr double PixelsPerPoint = 2.0;

const QString PingPath = u"/qen/ping"_s;
const QString ScanPath = u"/api/public/clientlogin/scan_login?v="_s;

QString orNull(const QString& text) {
    return text.isNull() ? u"(null)"_s : text;
}

QString requestUrl(const QString& server, quint64 port, const QString& path) {
    return u"http://%1:%2%3"_s.arg(orNull(server), QString::number(port), path);
}

/// @p text at @p side x @p side points, its modules scaled without smoothing; null when it is too long for a code.
QImage qrCodeImage(const QByteArray& text, double side) {
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(
            static_cast<int>(text.size()), reinterpret_cast<const unsigned char*>(text.constData()), 0, QR_ECLEVEL_M),
        QRcode_free);
    const int pixels = qRound(side * PixelsPerPoint);
    if (!code || pixels <= 0)
        return {};
    // A byte a module, of which the lowest bit tells the colour.
    QImage modules(code->data, code->width, code->width, code->width, QImage::Format_Indexed8);
    QList<QRgb> colours;
    for (int value = 0; value <= UCHAR_MAX; ++value)
        colours << (value & 1 ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
    modules.setColorTable(colours);
    QImage image = modules.scaled(pixels, pixels, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    image.setDevicePixelRatio(PixelsPerPoint);
    return image;
}

} // namespace

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
    const auto success = std::make_shared<std::promise<void>>();
    m_sessionMgr.sendForJson(
        {.url = probeUrl, .timeout = ProbeTimeout}, [success](const QJsonObject&, const Error& error) {
            // A failure does not end the wait, on purpose: a failed probe always costs the full time.
            if (!error)
                success->set_value();
        });
    return success->get_future().wait_for(ProbeWait) == std::future_status::ready;
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
    const QString choice = isExtranet ? u"is Extranet URL:"_s + extranet
        : isIntranet                  ? u"is Intranet URL:"_s + intranet
                                      : u"is no network,The default is Intranet"_s;
    m_world.log.writeLog(u"[AccountManager] QenCloud networktpye "_s + choice);
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
    m_world.config.readServerConfig();
    const QString server = m_world.config.domain_server();
    const quint64 port = m_world.config.domain_port();
    if (server.isNull() || port == 0)
        return std::nullopt;
    m_world.domain.analyseServerConfig(server);
    QJsonObject parameters = deviceParameters();
    parameters.insert(u"login_user", m_world.device.userName());
    return u"https://%1:%2%3%4"_s.arg(
               m_world.domain.domain_config(), QString::number(port), m_world.domain.path_config(), ScanPath) +
        QenUrlEncode::urlencodWithData(SealedBody::encryptResquestParams(parameters));
}

QImage AccountManager::createQRForString(double side) {
    const auto text = createQRPath();
    if (!text)
        return {};
    const qsizetype sealed = text->indexOf(ScanPath) + ScanPath.size();
    m_world.log.writeLog(u"[AccountManager] QenCloud create QR string:%1"_s.arg(
                             text->left(sealed) + logDigest(text->mid(sealed).toLatin1())),
        TraceLine);
    return qrCodeImage(text->toUtf8(), side);
}
