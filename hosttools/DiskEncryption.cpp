#include "DiskEncryption.h"

#include "ZfsFacts.h"

namespace {

/// Devices and layers in all. Rings end here, too.
constexpr int MostVisits = 512;

/// Layers of the device mapper that encrypt. Integrity and verity layers bear the same prefix and do not.
bool isEncryption(const QString& uuid) {
    for (const char16_t* kind : {u"LUKS1", u"LUKS2", u"PLAIN", u"TCRYPT", u"BITLK", u"FVAULT2", u"LOOPAES"}) {
        if (uuid.startsWith(QStringLiteral("CRYPT-%1-").arg(QString::fromUtf16(kind))))
            return true;
    }
    return false;
}

/// One plain part settles it, one that does not tell leaves it open.
Finding combined(const QList<Finding>& parts, const QString& whenEmpty) {
    Finding result = parts.isEmpty() ? Finding::unknown(whenEmpty) : Finding::yes();
    for (const Finding& part : parts) {
        if (part.isNo())
            return part;
        if (part.isUnknown() && result.isYes())
            result = part;
    }
    return result;
}

bool isInMemory(const QString& type) {
    return type == u"tmpfs" || type == u"ramfs" || type == u"rootfs";
}

bool isLocal(const Mount& mount) {
    return !mount.device.startsWith(u"0:") || mount.type == u"btrfs" || mount.type == u"zfs" ||
           mount.type == u"overlay" || mount.type == u"bcachefs";
}

QString fileName(const QString& path) {
    return path.section(u'/', -1);
}

} // namespace

Finding DiskEncryption::find() {
    const auto mounts = parseMounts(m_facts.text(QStringLiteral("/proc/self/mountinfo")).bytes);
    if (!mounts)
        return Finding::unknown(QStringLiteral("the table of mounts cannot be read"));
    m_mounts = *mounts;
    const Mount* root = mountAt(m_mounts, QStringLiteral("/"));
    if (!root)
        return Finding::unknown(QStringLiteral("nothing is mounted at /"));
    QList<Finding> parts{ofMount(*root)};
    const Mount* home = mountAt(m_mounts, QStringLiteral("/home"));
    if (home && isLocal(*home))
        parts.append(ofMount(*home));
    return combined(parts, {});
}

Finding DiskEncryption::ofMount(const Mount& mount) {
    if (mount.type == u"btrfs")
        return ofBtrfs(mount);
    if (mount.type == u"zfs")
        return ofZfs(mount.source);
    if (mount.type == u"overlay")
        return ofOverlay(mount);
    if (mount.device.startsWith(u"0:"))
        return Finding::unknown(
            QStringLiteral("%1 is on %2, which no disk of this computer is seen to hold").arg(mount.point, mount.type));
    const QString folder = m_facts.resolved(QStringLiteral("/sys/dev/block/") + mount.device);
    if (folder.isEmpty())
        return Finding::unknown(QStringLiteral("the device %1 of %2 is not listed").arg(mount.device, mount.point));
    return ofDevice(folder);
}

Finding DiskEncryption::ofOverlay(const Mount& mount) {
    if (++m_visits > MostVisits)
        return Finding::unknown(QStringLiteral("%1 lies over itself").arg(mount.point));
    // What is written goes to the upper layer. One in memory keeps nothing: then it is the lower ones that count.
    bool isKept = false;
    Finding result = ofLayer(mount.option(QStringLiteral("upperdir")), &isKept);
    if (!isKept) {
        QList<Finding> layers;
        for (const QString& lower : mount.option(QStringLiteral("lowerdir")).split(u':', Qt::SkipEmptyParts)) {
            const Finding layer = ofLayer(lower, &isKept);
            if (isKept || layer.isUnknown())
                layers.append(layer);
        }
        result = combined(layers, QStringLiteral("no layer of %1 is on a disk").arg(mount.point));
    }
    return result;
}

/// @param isKept  set to whether the layer is there and outlives a restart
Finding DiskEncryption::ofLayer(const QString& folder, bool* isKept) {
    const Mount* below = mountHolding(m_mounts, folder);
    *isKept = below && !isInMemory(below->type);
    if (!below)
        return folder.isEmpty() ? Finding::yes()
                                : Finding::unknown(QStringLiteral("the layer %1 is not seen from here").arg(folder));
    // A container's layers are named as its host names them, which from inside is a folder on the overlay itself.
    if (below->type == u"overlay" && below->point == u"/")
        return Finding::unknown(QStringLiteral("the layer %1 is not seen from here").arg(folder));
    return *isKept ? ofMount(*below) : Finding::yes();
}

Finding DiskEncryption::ofBtrfs(const Mount& mount) {
    const QString top = QStringLiteral("/sys/fs/btrfs");
    const QString wanted = kernelName(mount.source);
    for (const QString& identifier : m_facts.names(top)) {
        const QString devices = top + u'/' + identifier + QStringLiteral("/devices");
        const QStringList names = m_facts.names(devices);
        if (wanted.isEmpty() || !names.contains(wanted))
            continue;
        QList<Finding> parts;
        for (const QString& name : names) {
            const QString folder = m_facts.resolved(devices + u'/' + name);
            parts.append(folder.isEmpty() ? Finding::unknown(QStringLiteral("the device %1 is not listed").arg(name))
                                          : ofDevice(folder));
        }
        return combined(parts, {});
    }
    return Finding::unknown(
        QStringLiteral("the devices of the btrfs volume of %1 (%2) are not listed").arg(mount.point, mount.source));
}

Finding DiskEncryption::ofZfs(const QString& dataset) {
    const ZfsFacts zfs(m_facts);
    const Finding own = zfs.isEncrypted(dataset);
    if (!own.isNo())
        return own;
    // Not by itself, but its disks may be.
    QList<Finding> parts;
    for (const QString& device : zfs.devices(dataset.section(u'/', 0, 0)))
        parts.append(ofSource(device));
    return combined(parts, QStringLiteral("the disks of the ZFS pool of %1 are not listed").arg(dataset));
}

Finding DiskEncryption::ofSource(const QString& source) {
    const QString name = kernelName(source);
    const QString folder = name.isEmpty() ? QString() : m_facts.resolved(QStringLiteral("/sys/class/block/") + name);
    return folder.isEmpty() ? Finding::unknown(QStringLiteral("the device %1 is not listed").arg(source))
                            : ofDevice(folder);
}

Finding DiskEncryption::ofDevice(const QString& folder) {
    const QString name = fileName(folder);
    if (++m_visits > MostVisits)
        return Finding::unknown(QStringLiteral("the stack of devices below %1 has no end").arg(name));
    const QString mapper = folder + QStringLiteral("/dm");
    if (m_facts.exists(mapper) && m_facts.text(mapper + QStringLiteral("/uuid")).state != Facts::State::Read)
        return Finding::unknown(QStringLiteral("the device %1 does not tell what layer it is").arg(name));
    if (isEncryption(m_facts.line(mapper + QStringLiteral("/uuid"))))
        return Finding::yes();

    Finding result = Finding::unknown(QStringLiteral("the device %1 does not tell what it lies on").arg(name));
    const QString slaves = folder + QStringLiteral("/slaves");
    const QStringList below = m_facts.names(slaves);
    const QString backing = m_facts.line(folder + QStringLiteral("/loop/backing_file"));
    if (!below.isEmpty()) {
        QList<Finding> parts;
        for (const QString& link : below) {
            const QString next = m_facts.resolved(slaves + u'/' + link);
            parts.append(next.isEmpty()
                             ? Finding::unknown(QStringLiteral("the device %1 below %2 is not listed").arg(link, name))
                             : ofDevice(next));
        }
        result = combined(parts, {});
    } else if (m_facts.exists(folder + QStringLiteral("/partition"))) {
        result = ofDevice(folder.left(folder.lastIndexOf(u'/')));
    } else if (!backing.isEmpty()) {
        result = ofBacking(backing);
    } else if (!folder.startsWith(u"/sys/devices/virtual/block/") && m_facts.exists(folder + QStringLiteral("/dev"))) {
        result = Finding::no(QStringLiteral("%1 is not encrypted").arg(name));
    }
    return result;
}

Finding DiskEncryption::ofBacking(const QString& file) {
    const Mount* below = mountHolding(m_mounts, file);
    return below ? ofMount(*below) : Finding::unknown(QStringLiteral("the file %1 is not seen from here").arg(file));
}

/// The kernel's name of a device that a mount or a pool names by its file; empty when it is not known.
QString DiskEncryption::kernelName(const QString& source) const {
    const QString blocks = QStringLiteral("/sys/class/block/");
    const QString devices = QStringLiteral("/dev/");
    if (!source.startsWith(devices))
        return {};
    for (const QString& candidate : {fileName(m_facts.resolved(source)), source.mid(devices.size())}) {
        if (!candidate.isEmpty() && !candidate.contains(u'/') && m_facts.exists(blocks + candidate))
            return candidate;
    }
    QString mapped = source.mid(devices.size());
    const QString mapper = QStringLiteral("mapper/");
    if (mapped.startsWith(mapper))
        mapped = mapped.mid(mapper.size());
    else // volume group and volume
        mapped = mapped.replace(u'-', QStringLiteral("--")).replace(u'/', u'-');
    for (const QString& name : m_facts.names(blocks)) {
        if (m_facts.line(blocks + name + QStringLiteral("/dm/name")) == mapped)
            return name;
    }
    return {};
}
