#pragma once

#include "Facts.h"
#include "Mounts.h"

/// Whether what is stored below "/", and below "/home" where that is a local disk of its own, is encrypted.
///
/// Walks from the mounts down the stack of block devices to the disks. A branch is encrypted from the first encrypted
/// layer on; all branches must be. A branch that does not tell is unknown, except that one plain branch settles it.
class DiskEncryption final {
public:
    explicit DiskEncryption(const Facts& facts) : m_facts(facts) {}
    Finding find();

private:
    Finding ofMount(const Mount& mount);
    Finding ofOverlay(const Mount& mount);
    Finding ofLayer(const QString& folder, bool* isKept);
    Finding ofBtrfs(const Mount& mount);
    Finding ofZfs(const QString& dataset);
    Finding ofSource(const QString& source);
    Finding ofDevice(const QString& folder);
    Finding ofBacking(const QString& file);
    QString kernelName(const QString& source) const;

    const Facts& m_facts;
    QList<Mount> m_mounts;
    int m_visits = 0;
};
