#include "NetworkAccess.h"

#include "iNacManager.h"
#include "iNacNetwork.h"

NetworkAccess::NetworkAccess(iNacNetwork& network, iNacManager& manager) : m_network(network), m_manager(manager) {}

void NetworkAccess::requestGeneralConfig(
    std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion) {
    m_network.requestGeneralConfig(std::move(completion));
}

void NetworkAccess::checkiNacNecessaryWithUrl(const QString& url, std::function<void(bool)> completion) {
    m_manager.checkiNacNecessaryWithUrl(url, std::move(completion));
}

void NetworkAccess::executeInacTaskWithUserName(
    const QString& userName, const QString& ticket, const QJsonArray& ssids, const QString& url) {
    m_manager.executeInacTaskWithUserName(userName, ticket, ssids, url);
}

void NetworkAccess::installStaticMobileconfig() {
    m_manager.installStaticMobileconfig();
}
