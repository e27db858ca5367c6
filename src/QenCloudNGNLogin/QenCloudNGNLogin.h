#pragma once

#include "AccountManager.h"
#include "Shared.h"

/// The thin front of the account API: forwards each request. Completions as AccountManager calls them.
class QenCloudNGNLogin final {
public:
    using Completion = AccountManager::Completion;

    explicit QenCloudNGNLogin(AccountManager& accounts) : m_accounts(accounts) {}
    static QenCloudNGNLogin& sharedInstance() { return Platform::Shared<QenCloudNGNLogin>::instance(); }

    void loginAccount(const QJsonObject& parameters, Completion complete) {
        m_accounts.PostResquestDicWithParamDic(parameters, std::move(complete));
    }
    void startCheckQRLoginState(qint64 clientoper, Completion complete) {
        m_accounts.checkQRLoginState(clientoper, std::move(complete));
    }
    void logoutAccount(const QJsonObject& parameters, Completion complete) {
        m_accounts.loginOut(parameters, std::move(complete));
    }
    /// The answer's "data" arrives unsealed.
    void GetgeneralConfig(Completion complete);
    void ResetPasswordState(const QJsonObject& parameters, Completion complete) {
        m_accounts.ResetPassword(parameters, std::move(complete));
    }
    void checkTicket(const QString& ticket, Completion complete) {
        m_accounts.checkTicketState(ticket, std::move(complete));
    }
    void checkDomainAccount(
        const QString& account, const QString& domain, AccountManager::DomainCompletion completion) {
        m_accounts.checkDomainAccount(account, domain, std::move(completion));
    }
    void GetNetWorkType(const std::function<void(int)>& completion) { m_accounts.NetWorkType(completion); }
    /// Calls @p complete at once, on the caller's thread, with the image or a null one.
    void createQRForSize(double side, const std::function<void(const QImage&)>& complete) {
        complete(m_accounts.createQRForString(side));
    }

private:
    AccountManager& m_accounts;
};
