#pragma once

#include "Finding.h"
#include "HostCommand.h"

#include <QMap>

#include <optional>

/// What ZFS tells everybody: its own commands answer without privilege, its files in procfs do not know encryption.
///
/// Runs each command at most once, for at most a second.
class ZfsFacts final {
public:
    explicit ZfsFacts(const Facts& facts) : m_facts(facts) {}

    /// Whether the data set itself encrypts what it holds.
    Finding isEncrypted(const QString& dataset);
    /// Device files of all parts of a pool; empty when they cannot be told.
    QStringList devices(const QString& pool);

private:
    const Facts& m_facts;
    std::optional<QMap<QString, QString>> m_encryption;
    std::optional<QByteArray> m_pools;
};
