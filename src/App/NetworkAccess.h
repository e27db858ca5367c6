#pragma once

#include "LoginLinks.h"

class iNacManager;
class iNacNetwork;

/// Hands the session's wishes for network access to the two services behind it.
class NetworkAccess final : public NetworkAccessLink {
public:
    NetworkAccess(iNacNetwork& network, iNacManager& manager);

    /// Completes on the main queue; at once on the caller's thread while no server is configured.
    void requestGeneralConfig(
        std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion) override;
    /// Completes on a background queue.
    void checkiNacNecessaryWithUrl(const QString& url, std::function<void(bool)> completion) override;
    void executeInacTaskWithUserName(
        const QString& userName, const QString& ticket, const QJsonArray& ssids, const QString& url) override;
    void installStaticMobileconfig() override;

private:
    iNacNetwork& m_network;
    iNacManager& m_manager;
};
