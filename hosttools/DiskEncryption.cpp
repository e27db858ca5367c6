#include "DiskEncryption.h"

#include "ZfsFacts.h"

using namespace Qt::StringLiterals;

namespace {

/// Devices and layers in all. Rings end here, too.
constexpr int MostVisits = 512;

/// Layers of the device mapper that encrypt. Integrity and verity layers bear the same prefix and do not.
bool isEncryption(const QString& uuid) {
    for (const char16_t* kind : {u"LUKS1", u"LUKS2", u"PLAIN", u"TCRYPT", u"BITLK", u"FVAULT2", u"LOOPAES"}) {
        if (uuid.startsWith(u"CRYPT-%1-"_s.arg(QString::fromUtf16(kind))))
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
    const auto mounts = parseMounts(m_facts.text(u"/proc/self/mountinfo"_s).bytes);
    if (!mounts)
        return Finding::unknown(u"the table of mounts cannot be read"_s);
    m_mounts = *mounts;
    const Mount* root = mountAt(m_mounts, u"/"_s);
    if (!root)
        return Finding::unknown(u"nothing is mounted at /"_s);
    QList<Finding> parts{ofMount(*root)};
    const Mount* home = mountAt(m_mounts, u"/home"_s);
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
            u"%1 is on %2, which no disk of this computer is seen to hold"_s.arg(mount.point, mount.type));
    const QString folder = m_facts.resolved(u"/sys/dev/block/"_s + mount.device);
    if (folder.isEmpty())
        return Finding::unknown(u"the device %1 of %2 is not listed"_s.arg(mount.device, mount.point));
    return ofDevice(folder);
}

Finding DiskEncryption::ofOverlay(const Mount& mount) {
    if (++m_visits > MostVisits)
        return Finding::unknown(u"%1 lies over itself"_s.arg(mount.point));
    // What is written goes to the upper layer. One in memory keeps nothing: then it is the lower ones that count.
    bool isKept = false;
    Finding result = ofLayer(mount.option(u"upperdir"_s), &isKept);
    if (!isKept) {
        QList<Finding> layers;
        for (const QString& lower : mount.option(u"lowerdir"_s).split(u':', Qt::SkipEmptyParts)) {
            const Finding layer = ofLayer(lower, &isKept);
            if (isKept || layer.isUnknown())
                layers.append(layer);
        }
        result = combined(layers, u"no layer of %1 is on a disk"_s.arg(mount.point));
    }
    return result;
}

/// @param isKept  set to whether the layer is there and outlives a restart
Finding DiskEncryption::ofLayer(const QString& folder, bool* isKept) {
    const Mount* below = mountHolding(m_mounts, folder);
    *isKept = below && !isInMemory(below->type);
    if (!below)
        return folder.isEmpty() ? Finding::yes()
                                : Finding::unknown(u"the layer %1 is not seen from here"_s.arg(folder));
    // A container's layers are named as its host names them, which from inside is a folder on the overlay itself.
    if (below->type == u"overlay" && below->point == u"/")
        return Finding::unknown(u"the layer %1 is not seen from here"_s.arg(folder));
    return *isKept ? ofMount(*below) : Finding::yes();
}

Finding DiskEncryption::ofBtrfs(const Mount& mount) {
    const QString top = u"/sys/fs/btrfs"_s;
    const QString wanted = kernelName(mount.source);
    for (const QString& identifier : m_facts.names(top)) {
        const QString devices = top + u'/' + identifier + u"/devices"_s;
        const QStringList names = m_facts.names(devices);
        if (wanted.isEmpty() || !names.contains(wanted))
            continue;
        QList<Finding> parts;
        for (const QString& name : names) {
            const QString folder = m_facts.resolved(devices + u'/' + name);
            parts.append(
                folder.isEmpty() ? Finding::unknown(u"the device %1 is not listed"_s.arg(name)) : ofDevice(folder));
        }
        return combined(parts, {});
    }
    return Finding::unknown(
        u"the devices of the btrfs volume of %1 (%2) are not listed"_s.arg(mount.point, mount.source));
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
    return combined(parts, u"the disks of the ZFS pool of %1 are not listed"_s.arg(dataset));
}

Finding DiskEncryption::ofSource(const QString& source) {
    const QString name = kernelName(source);
    const QString folder = name.isEmpty() ? QString() : m_facts.resolved(u"/sys/class/block/"_s + name);
    return folder.isEmpty() ? Finding::unknown(u"the device %1 is not listed"_s.arg(source)) : ofDevice(folder);
}

Finding DiskEncryption::ofDevice(const QString& folder) {
    const QString name = fileName(folder);
    if (++m_visits > MostVisits)
        return Finding::unknown(u"the stack of devices below %1 has no end"_s.arg(name));
    const QString mapper = folder + u"/dm"_s;
    if (m_facts.exists(mapper) && m_facts.text(mapper + u"/uuid"_s).state != Facts::State::Read)
        return Finding::unknown(u"the device %1 does not tell what layer it is"_s.arg(name));
    if (isEncryption(m_facts.line(mapper + u"/uuid"_s)))
        return Finding::yes();

    Finding result = Finding::unknown(u"the device %1 does not tell what it lies on"_s.arg(name));
    const QString slaves = folder + u"/slaves"_s;
    const QStringList below = m_facts.names(slaves);
    const QString backing = m_facts.line(folder + u"/loop/backing_file"_s);
    if (!below.isEmpty()) {
        QList<Finding> parts;
        for (const QString& link : below) {
            const QString next = m_facts.resolved(slaves + u'/' + link);
            parts.append(next.isEmpty() ? Finding::unknown(u"the device %1 below %2 is not listed"_s.arg(link, name))
                                        : ofDevice(next));
        }
        result = combined(parts, {});
    } else if (m_facts.exists(folder + u"/partition"_s)) {
        result = ofDevice(folder.left(folder.lastIndexOf(u'/')));
    } else if (!backing.isEmpty()) {
        result = ofBacking(backing);
    } else if (!folder.startsWith(u"/sys/devices/virtual/block/") && m_facts.exists(folder + u"/dev"_s)) {
        result = Finding::no(u"%1 is not encrypted"_s.arg(name));
    }
    return result;
}

Finding DiskEncryption::ofBacking(const QString& file) {
    const Mount* below = mountHolding(m_mounts, file);
    return below ? ofMount(*below) : Finding::unknown(u"the file %1 is not seen from here"_s.arg(file));
}

/// The kernel's name of a device that a mount or a pool names by its file; empty when it is not known.
QString DiskEncryption::kernelName(const QString& source) const {
    const QString blocks = u"/sys/class/block/"_s;
    const QString devices = u"/dev/"_s;
    if (!source.startsWith(devices))
        return {};
    for (const QString& candidate : {fileName(m_facts.resolved(source)), source.mid(devices.size())}) {
        if (!candidate.isEmpty() && !candidate.contains(u'/') && m_facts.exists(blocks + candidate))
            return candidate;
    }
    QString mapped = source.mid(devices.size());
    const QString mapper = u"mapper/"_s;
    if (mapped.startsWith(mapper))
        mapped = mapped.mid(mapper.size());
    else // volume group and volume
        mapped = mapped.replace(u'-', u"--"_s).replace(u'/', u'-');
    for (const QString& name : m_facts.names(blocks)) {
        if (m_facts.line(blocks + name + u"/dm/name"_s) == mapped)
            return name;
    }
    return {};
}
