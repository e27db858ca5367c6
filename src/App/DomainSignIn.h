#pragma once

#include "DomainAccountLink.h"
#include "Session.h"

class QenCloudLoginHelper;

/// Lets the domain-login probe ask the server and make a session of what it finds. Any thread.
class DomainSignIn final : public DomainAccountLink {
public:
    DomainSignIn(Session& session, QenCloudLoginHelper& login) : m_session(session), m_login(login) {}

    bool hasRecord() override { return m_session.current().record.has_value(); }
    void check(const QString& account, const QString& domain, Answer answer) override;
    void signIn(const QString& userid, const QString& username, const QString& domainName,
        std::function<void(bool isSaved)> done) override;

private:
    Session& m_session;
    QenCloudLoginHelper& m_login;
    std::mutex m_mutex;
    /// The session at the last question.
    AskedFor m_asked;
};
