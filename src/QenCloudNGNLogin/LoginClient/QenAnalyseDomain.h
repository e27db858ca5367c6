#pragma once

#include "Shared.h"

#include <QString>

#include <mutex>

/// Splits the configured domain server string, pieces separated by "#", into a host and a path prefix. Any thread.
class QenAnalyseDomain final {
public:
    static QenAnalyseDomain& sharedInstance() { return Platform::Shared<QenAnalyseDomain>::instance(); }

    /// Fills both properties, once: later calls change nothing.
    void analyseServerConfig(const QString& domainServer);
    QString domain_config() const;
    /// Empty, or beginning with "/".
    QString path_config() const;

private:
    mutable std::mutex m_mutex;
    QString m_domain;
    QString m_path;
};
