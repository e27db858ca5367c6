#include "QenServerConfig.h"

#include "ArchiveStore.h"
#include "IntegerValue.h"
#include "Paths.h"
#include "StateFiles.h"

using namespace Qt::StringLiterals;

namespace {

constexpr quint64 DefaultDomainPort = 443;

} // namespace

QenServerConfig::QenServerConfig(QString configFile, QString userState)
    : m_configFile(std::move(configFile)), m_userState(std::move(userState)) {}

void QenServerConfig::readServerConfig() {
    if (intranet_server().isNull())
        updateServerConfig();
}

void QenServerConfig::updateServerConfig() {
    const std::lock_guard lock(m_mutex);
    const auto root = unarchiveObjectWithFile(m_configFile, {"NSString", "NSArray", "NSValue", "NSNull"});
    if (!root || !root->isArray())
        return;
    Endpoint* const places[] = {&m_intranet, &m_extranet, &m_domain};
    const auto& elements = root->array();
    for (size_t i = 0; i < elements.size() && i < std::size(places); ++i) {
        const Platform::ArchiveValue& element = elements[i];
        // An element of another shape sets nothing.
        if (!element.isArray() || element.array().size() < 2 || !element.array()[0].isString())
            continue;
        const auto port = integerValue(element.array()[1].toVariant());
        *places[i] = {element.array()[0].string(), port && *port > 0 ? static_cast<quint64>(*port) : 0};
    }
    if (m_domain.server.isNull())
        m_domain = {m_intranet.server, DefaultDomainPort};
}

bool QenServerConfig::isExtranetChosen() const {
    const QString path = m_userState + u'/' + StateFiles::NetType;
    const Platform::FileIdentity identity = Platform::fileIdentity(path);
    const std::lock_guard lock(m_mutex);
    // Asked for with every request, and read when another file stands there.
    if (!m_marker || identity != *m_marker) {
        const auto marker = unarchiveObjectWithFile(path);
        m_isExtranet = marker && marker->isString() && marker->string() == u"1"_s;
        m_marker = identity;
    }
    return m_isExtranet;
}

QString QenServerConfig::AcountIP_Config() const {
    return isExtranetChosen() ? extranet_server() : intranet_server();
}

quint64 QenServerConfig::AcountIP_Port() const {
    return isExtranetChosen() ? extranet_port() : intranet_port();
}

QenServerConfig::Endpoint QenServerConfig::read(const Endpoint& endpoint) const {
    const std::lock_guard lock(m_mutex);
    return endpoint;
}

QString QenServerConfig::intranet_server() const {
    return read(m_intranet).server;
}

quint64 QenServerConfig::intranet_port() const {
    return read(m_intranet).port;
}

QString QenServerConfig::extranet_server() const {
    return read(m_extranet).server;
}

quint64 QenServerConfig::extranet_port() const {
    return read(m_extranet).port;
}

QString QenServerConfig::domain_server() const {
    return read(m_domain).server;
}

quint64 QenServerConfig::domain_port() const {
    return read(m_domain).port;
}
