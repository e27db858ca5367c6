#pragma once

#include "Facts.h"

/// What ZFS tells everybody: its own commands answer without privilege, its files in procfs do not know encryption.
///
/// Runs the commands at their fixed places below the root, each for at most a second.
class ZfsFacts final {
public:
    explicit ZfsFacts(const Facts& facts) : m_facts(facts) {}

    /// Whether the data set itself encrypts what it holds.
    Finding isEncrypted(const QString& dataset) const;
    /// Device files of all parts of a pool; empty when they cannot be told.
    QStringList devices(const QString& pool) const;

private:
    QString run(const QString& command, const QStringList& arguments) const;

    const Facts& m_facts;
};
