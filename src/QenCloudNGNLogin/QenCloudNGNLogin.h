#pragma once

#include "AccountManager.h"
#include "Shared.h"

/// The thin front of the account API: forwards each request and gives every failure one shape, an error whose
/// description is always readable text.
///
/// Completions as AccountManager calls them.
class QenCloudNGNLogin final {
public:
    using Completion = AccountManager::Completion;

    explicit QenCloudNGNLogin(AccountManager& accounts) : m_accounts(accounts) {}
    static QenCloudNGNLogin& sharedInstance() { return Platform::Shared<QenCloudNGNLogin>::instance(); }

    void loginAccount(const QJsonObject& parameters, Completion complete);
    void startCheckQRLoginState(qint64 clientoper, Completion complete);
    void logoutAccount(const QJsonObject& parameters, Completion complete);
    /// The answer's "data" arrives unsealed.
    void GetgeneralConfig(Completion complete);
    void ResetPasswordState(const QJsonObject& parameters, Completion complete);
    void checkTicket(const QString& ticket, Completion complete);
    void checkDomainAccount(const QString& account, const QString& domain,
        std::function<void(bool, std::optional<QString>, const Platform::Error&)> completion);
    void GetNetWorkType(const std::function<void(int)>& completion);
    /// Calls @p complete at once, on the caller's thread, with the image or a null one.
    void createQRForSize(double side, const std::function<void(const QImage&)>& complete);

private:
    AccountManager& m_accounts;
};
