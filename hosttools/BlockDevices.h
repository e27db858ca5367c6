#pragma once

#include "Facts.h"
#include "Finding.h"

#include <QHash>

#include <functional>

/// The stack of block devices in sysfs, from what is mounted down to the disks. Paths are the devices' own folders.
///
/// A branch is encrypted from the first encrypted layer on; all branches must be. A branch that does not tell is
/// unknown, except that one plain branch settles it. Every device is judged once.
class BlockDevices final {
public:
    /// @param ofFile  judges what the file behind a loop device lies on
    BlockDevices(const Facts& facts, std::function<Finding(const QString& file)> ofFile)
        : m_facts(facts), m_ofFile(std::move(ofFile)) {}

    Finding ofDevice(const QString& folder);
    /// By the device's file.
    Finding ofSource(const QString& source);
    /// By "major:minor"; empty when the kernel lists no such device.
    QString folderOfNumber(const QString& number) const;
    /// The kernel's name of a device that a mount or a pool names by its file; empty when it is not known.
    QString kernelName(const QString& source) const;
    /// Whether every disk below can be taken away: removable media, memory cards and what hangs on USB.
    bool isRemovable(const QString& folder, int depth = 0) const;
    /// Whether the device holds a checked image that nobody can write to.
    bool isVerifiedImage(const QString& folder) const;
    /// Whether it is memory or the disk of another computer.
    bool isNoDisk(const QString& folder) const;
    /// Whether it is a partition that the firmware or the boot loader reads.
    bool isForBooting(const QString& number) const;

private:
    Finding judged(const QString& folder);
    Finding ofLayersBelow(const QString& folder, const QStringList& below);

    const Facts& m_facts;
    const std::function<Finding(const QString&)> m_ofFile;
    QHash<QString, Finding> m_known;
};

/// One plain part settles it, one that does not tell leaves it open.
Finding worstOf(const QList<Finding>& parts, const Finding& whenEmpty);
