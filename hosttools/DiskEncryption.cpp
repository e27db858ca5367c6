#include "DiskEncryption.h"

using namespace Qt::StringLiterals;

namespace {

/// Layers of overlays in all. Rings end here, too.
constexpr int MostLayers = 1024;

bool isOneOf(const QString& text, std::initializer_list<const char16_t*> values) {
    return std::any_of(values.begin(), values.end(), [&text](const char16_t* value) { return text == value; });
}

bool isInMemory(const QString& type) {
    return isOneOf(type, {u"tmpfs", u"ramfs", u"rootfs"});
}

/// File systems that are made once and then only read.
bool isImage(const QString& type) {
    return isOneOf(type, {u"squashfs", u"erofs", u"cramfs", u"romfs", u"iso9660", u"udf"});
}

/// Those that stand on several devices and so on none by number.
bool isVolume(const QString& type) {
    return isOneOf(type, {u"btrfs", u"zfs", u"bcachefs"});
}

bool isFromNetwork(const QString& type) {
    return type.startsWith(u"nfs") || isOneOf(type, {u"cifs", u"smb3", u"afs", u"ceph", u"9p", u"fuse.sshfs"});
}

bool isBelow(const QString& path, const QString& folder) {
    return path == folder || path.startsWith(folder + u'/');
}

Finding at(const QString& place, Finding finding) {
    if (!finding.isYes() && finding.place.isEmpty())
        finding.place = place;
    return finding;
}

} // namespace

DiskEncryption::DiskEncryption(const Facts& facts, QString home)
    : m_facts(facts), m_home(std::move(home)), m_devices(facts, [this](const QString& file) { return ofFile(file); }),
      m_zfs(facts) {}

Finding DiskEncryption::find() {
    const auto mounts = Mounts::parsed(m_facts.text(u"/proc/self/mountinfo"_s).bytes);
    if (!mounts)
        return Finding::unknown(u"disk.mounts-unreadable"_s);
    m_mounts = *mounts;
    const Mount* const root = m_mounts.at(u"/"_s);
    if (!root)
        return Finding::unknown(u"disk.no-root"_s);
    const QString resolved = m_facts.resolved(m_home);
    const Mount* const home = m_mounts.holding(resolved.isEmpty() ? m_home : resolved);
    QList<Finding> parts;
    for (const Mount& mount : m_mounts.visible()) {
        if (counts(mount))
            parts.append(at(mount.point, ofMount(mount)));
    }
    // Nothing is stored in memory or in an image.
    const bool keepsNothing = isImage(root->type) || isInMemory(root->type) ||
        m_devices.isVerifiedImage(m_devices.folderOfNumber(root->device));
    if (!keepsNothing || parts.isEmpty())
        parts.append(at(root->point, ofMount(*root)));
    if (home && home->point != root->point && !isFromNetwork(home->type) && !isInMemory(home->type))
        parts.append(at(home->point, ofMount(*home)));
    return worstOf(parts + ofSwap(), {});
}

/// Of the places other than those that count in any case.
bool DiskEncryption::counts(const Mount& mount) const {
    const bool isDevice = !mount.device.startsWith(u"0:");
    if ((!isDevice && !isVolume(mount.type)) || isImage(mount.type) || isBelow(mount.point, u"/boot"_s) ||
        mount.point == u"/" || mount.point == u"/efi")
        return false;
    const QString name = isDevice ? QString() : m_devices.kernelName(mount.source.section(u':', 0, 0));
    const QString folder =
        isDevice ? m_devices.folderOfNumber(mount.device) : m_facts.resolved(u"/sys/class/block/"_s + name);
    return folder.isEmpty() || (!isDevice && name.isEmpty()) ||
        !(m_devices.isRemovable(folder) || m_devices.isVerifiedImage(folder) || m_devices.isNoDisk(folder) ||
            m_devices.isForBooting(mount.device));
}

Finding DiskEncryption::ofMount(const Mount& mount) {
    if (mount.type == u"ecryptfs")
        return Finding::yes();
    if (mount.type == u"zfs")
        return ofZfs(mount.source);
    if (isVolume(mount.type))
        return ofVolume(mount.type, mount);
    if (mount.type == u"overlay")
        return ofOverlay(mount);
    if (mount.device.startsWith(u"0:"))
        return Finding::unknown(u"disk.elsewhere"_s, mount.type);
    const QString folder = m_devices.folderOfNumber(mount.device);
    return folder.isEmpty() ? Finding::unknown(u"disk.not-listed"_s, mount.device) : m_devices.ofDevice(folder);
}

Finding DiskEncryption::ofOverlay(const Mount& mount) {
    if (++m_layers > MostLayers)
        return Finding::unknown(u"disk.endless"_s, mount.point);
    // What is written goes to the upper layer. One in memory keeps nothing: then it is the lower ones that count.
    bool isKept = false;
    const Finding upper = ofLayer(mount.values(u"upperdir"_s).value(0), &isKept);
    if (isKept || upper.isUnknown())
        return upper;
    QList<Finding> layers;
    for (const QString& folder : mount.values(u"lowerdir"_s) + mount.values(u"datadir"_s)) {
        for (const QString& lower : folder.split(u':', Qt::SkipEmptyParts)) {
            const Finding layer = ofLayer(lower, &isKept);
            if (isKept || layer.isUnknown())
                layers.append(layer);
        }
    }
    return worstOf(layers, Finding::unknown(u"disk.layer-unseen"_s, mount.point));
}

/// @param isKept  set to whether the layer is there and outlives a restart
Finding DiskEncryption::ofLayer(const QString& folder, bool* isKept) {
    const Mount* const below = m_mounts.holding(folder);
    *isKept = below && !isInMemory(below->type) && !isImage(below->type);
    // A container's layers are named as its host names them, which from inside is a folder on the overlay itself.
    const bool isUnseen = below ? below->type == u"overlay" && below->point == u"/" : !folder.isEmpty();
    if (isUnseen)
        return Finding::unknown(u"disk.layer-unseen"_s, folder);
    return *isKept ? ofMount(*below) : Finding::yes();
}

/// The kernel lists the devices of such a volume in a folder of its own.
Finding DiskEncryption::ofVolume(const QString& type, const Mount& mount) {
    const QString top = u"/sys/fs/"_s + type;
    const QString wanted = m_devices.kernelName(mount.source.section(u':', 0, 0));
    for (const QString& identifier : m_facts.names(top)) {
        const bool isBtrfs = type == u"btrfs";
        const QString folder = top + u'/' + identifier + (isBtrfs ? u"/devices/"_s : u"/"_s);
        QMap<QString, QString> devices;
        for (const QString& name : m_facts.names(folder)) {
            const QString device = m_facts.resolved(folder + name + (isBtrfs ? QString() : u"/block"_s));
            if (isBtrfs || !device.isEmpty())
                devices.insert(isBtrfs ? name : device.section(u'/', -1), device);
        }
        if (wanted.isEmpty() || !devices.contains(wanted))
            continue;
        const QString own = m_facts.line(folder + u"options/encrypted"_s);
        if (!isBtrfs && !own.isEmpty() && own != u"0" && own != u"none")
            return Finding::yes();
        QList<Finding> parts;
        for (auto device = devices.cbegin(); device != devices.cend(); ++device)
            parts.append(
                device->isEmpty() ? Finding::unknown(u"disk.not-listed"_s, device.key()) : m_devices.ofDevice(*device));
        const Finding disks = worstOf(parts, {});
        return !isBtrfs && own.isEmpty() && disks.isNo() ? Finding::unknown(u"disk.bcachefs-silent"_s, mount.source)
                                                         : disks;
    }
    return Finding::unknown(u"disk.not-listed"_s, mount.source);
}

Finding DiskEncryption::ofZfs(const QString& dataset) {
    const Finding own = m_zfs.isEncrypted(dataset);
    if (!own.isNo())
        return own;
    // Not by itself, but its disks may be.
    QList<Finding> parts;
    for (const QString& device : m_zfs.devices(dataset.section(u'/', 0, 0)))
        parts.append(m_devices.ofSource(device));
    return worstOf(parts, Finding::unknown(u"disk.zfs-silent"_s, dataset));
}

Finding DiskEncryption::ofFile(const QString& file) {
    const Mount* const below = m_mounts.holding(file);
    return below ? ofMount(*below) : Finding::unknown(u"disk.layer-unseen"_s, file);
}

QList<Finding> DiskEncryption::ofSwap() {
    const Facts::Text swaps = m_facts.text(u"/proc/swaps"_s);
    if (swaps.state != Facts::State::Read && swaps.state != Facts::State::Missing)
        return {Finding::unknown(u"disk.swap-unreadable"_s)};
    QList<Finding> parts;
    for (const QByteArray& line : swaps.bytes.split('\n').mid(1)) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        const QString name = unescapedField(fields[0]);
        if (!name.startsWith(u'/') || name.startsWith(u"/dev/zram"))
            continue;
        parts.append(at(u"swap"_s, fields.value(1) == "file" ? ofFile(name) : m_devices.ofSource(name)));
    }
    return parts;
}
