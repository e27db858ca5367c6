#include "DomainSignIn.h"

#include "QenCloudLoginHelper.h"

void DomainSignIn::check(const QString& account, const QString& domain, Answer answer) {
    // Off the caller's thread: a request is made of files and of what the computer is asked.
    Platform::globalQueue().async([this, busy = m_work.token(), account, domain, answer = std::move(answer)] {
        {
            const std::lock_guard lock(m_mutex);
            m_asked = m_session.asked();
        }
        m_login.checkDomainAccount(account, domain, answer);
    });
}

void DomainSignIn::signIn(
    const QString& userid, const QString& username, const QString& domainName, std::function<void(bool isSaved)> done) {
    const std::lock_guard lock(m_mutex);
    m_session.submit(DomainAnswer{m_asked, userid, username, domainName},
        [done = std::move(done)](const Session::Outcome& outcome) { done(outcome.isTaken); });
}
