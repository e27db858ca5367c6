#pragma once

#include "BlockDevices.h"
#include "Mounts.h"
#include "ZfsFacts.h"

/// Whether what this computer stores is encrypted, wherever it lies: all local file systems on disks and the active
/// swap.
///
/// Left out: what only starts the computer (/boot, the EFI partition), images that cannot be written to, removable
/// media, network file systems and memory. What holds / and the home folder counts in any case, except a home from the
/// network. The worst place decides.
class DiskEncryption final {
public:
    /// @param home  the person's home folder, as the environment names it
    DiskEncryption(const Facts& facts, QString home);
    Finding find();

private:
    Finding ofMount(const Mount& mount);
    Finding ofOverlay(const Mount& mount);
    Finding ofLayer(const QString& folder, bool* isKept);
    Finding ofVolume(const QString& type, const Mount& mount);
    Finding ofZfs(const QString& dataset);
    Finding ofFile(const QString& file);
    QList<Finding> ofSwap();
    bool counts(const Mount& mount) const;

    const Facts& m_facts;
    const QString m_home;
    BlockDevices m_devices;
    ZfsFacts m_zfs;
    Mounts m_mounts;
    int m_layers = 0;
};
