#include "QenServerConfig.h"

#include "ArchiveStore.h"
#include "IntegerValue.h"
#include "StateFiles.h"
#include "SystemLog.h"

#include <QFile>

using Platform::ArchiveValue;

namespace {

constexpr quint64 DefaultDomainPort = 443;
const QString RecordClass = u"QenNetworkInfoModel"_s;

} // namespace

QenServerConfig::QenServerConfig(QString configFile, QString userState)
    : m_configFile(std::move(configFile)), m_userState(std::move(userState)) {}

void QenServerConfig::readServerConfig() {
    if (m_isBehind || intranet_server().isNull())
        updateServerConfig();
}

void QenServerConfig::updateServerConfig() {
    const std::lock_guard lock(m_mutex);
    bool mayPass = false;
    const auto root = unarchiveObjectWithFile(m_configFile, {"NSString", "NSArray", "NSValue", "NSNull"}, &mayPass);
    m_isBehind = mayPass;
    if (!root || !root->isArray())
        return;
    Endpoint* const places[] = {&m_intranet, &m_extranet, &m_domain};
    const auto& elements = root->array();
    for (size_t i = 0; i < elements.size() && i < std::size(places); ++i) {
        const ArchiveValue& element = elements[i];
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
    const Platform::FileIdentity file = Platform::fileIdentity(path);
    const std::lock_guard lock(m_mutex);
    if (file != m_choiceFile) {
        bool mayPass = false;
        const auto marker = unarchiveObjectWithFile(path, Platform::AllowedClasses::any(), &mayPass);
        // What is known holds while nothing can be read.
        if (mayPass)
            return m_isExtranet;
        m_isExtranet = marker && marker->isString() && marker->string() == u"1"_s;
        m_choiceFile = file;
    }
    return m_isExtranet;
}

QenServerConfig::Endpoint QenServerConfig::read(const Endpoint& endpoint) const {
    const std::lock_guard lock(m_mutex);
    return endpoint;
}

void QenAnalyseDomain::analyseServerConfig(const QString& domainServer) {
    const std::lock_guard lock(m_mutex);
    // Once per process on purpose: a domain server that changes later is seen after a restart.
    if (!m_domain.isEmpty() || !m_path.isEmpty())
        return;
    QStringList pieces = domainServer.split(u'#');
    m_domain = pieces.takeFirst();
    pieces.removeAll(QString());
    if (!pieces.isEmpty())
        m_path = u'/' + pieces.join(u'/');
}

QString QenAnalyseDomain::domain_config() const {
    const std::lock_guard lock(m_mutex);
    return m_domain;
}

QString QenAnalyseDomain::path_config() const {
    const std::lock_guard lock(m_mutex);
    return m_path;
}

QString QenNetworkInfoModel::modelSavePathWithCheck(bool check, const QString& folder) {
    if (check)
        Platform::makeFolder(folder);
    return folder + u'/' + StateFiles::ServerRecord;
}

std::optional<QenNetworkInfoModel> QenNetworkInfoModel::currentNetRecord(const QString& folder) {
    const auto root = unarchiveObjectWithFile(modelSavePathWithCheck(false, folder));
    if (!root || !root->isObject() || root->className() != RecordClass)
        return std::nullopt;
    QenNetworkInfoModel model;
    model.networkType = root->field(u"networkType"_s).integer();
    model.record_server = root->field(u"record_server"_s).string();
    model.record_port = root->field(u"record_port"_s).integer();
    return model;
}

bool QenNetworkInfoModel::saveModelRecord(const QString& folder) const {
    const QString path = modelSavePathWithCheck(true, folder);
    const auto stored = currentNetRecord(folder);
    if (stored && stored->record_server == record_server && stored->record_port == record_port)
        return true;
    ArchiveValue object = ArchiveValue::object(RecordClass);
    object.setField(u"networkType"_s, networkType);
    object.setField(u"record_server"_s, record_server);
    object.setField(u"record_port"_s, record_port);
    if (archiveRootObject(object, path))
        return true;
    Platform::systemLog(archiveResultError().logText());
    return false;
}

bool QenNetworkInfoModel::deleteCurrentNetModelRecord(const QString& folder) {
    return QFile::remove(modelSavePathWithCheck(false, folder));
}
