#include "QenAnalyseDomain.h"

#include <QStringList>

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
