#include "DomainSignIn.h"

#include "QenCloudLoginHelper.h"

void DomainSignIn::check(const QString& account, const QString& domain, Answer answer) {
    {
        const std::lock_guard lock(m_mutex);
        m_asked = m_session.asked();
    }
    m_login.checkDomainAccount(account, domain, std::move(answer));
}

void DomainSignIn::signIn(
    const QString& userid, const QString& username, const QString& domainName, std::function<void(bool isSaved)> done) {
    const std::lock_guard lock(m_mutex);
    m_session.submit(DomainAnswer{m_asked, userid, username, domainName},
        [done = std::move(done)](const Session::Outcome& outcome) { done(outcome.isTaken); });
}
