#include "BlockDevices.h"

using namespace Qt::StringLiterals;

namespace {

/// Devices in all; what stands on each other more deeply ends here, too.
constexpr qsizetype MostDevices = 1024;
constexpr int DeepestStack = 32;

/// Layers of the device mapper that encrypt. Integrity and verity layers bear the same prefix and do not.
bool isEncryption(const QString& uuid) {
    for (const char16_t* kind : {u"LUKS1", u"LUKS2", u"PLAIN", u"TCRYPT", u"BITLK", u"FVAULT2", u"LOOPAES"}) {
        if (uuid.startsWith(u"CRYPT-%1-"_s.arg(QString::fromUtf16(kind))))
            return true;
    }
    return false;
}

QString fileName(const QString& path) {
    return path.section(u'/', -1);
}

} // namespace

Finding worstOf(const QList<Finding>& parts, const Finding& whenEmpty) {
    Finding result = parts.isEmpty() ? whenEmpty : Finding::yes();
    for (const Finding& part : parts) {
        if (part.isNo())
            return part;
        if (part.isUnknown() && result.isYes())
            result = part;
    }
    return result;
}

Finding BlockDevices::ofDevice(const QString& folder) {
    const auto known = m_known.constFind(folder);
    if (known != m_known.cend())
        return *known;
    const Finding endless = Finding::unknown(u"disk.endless"_s, fileName(folder));
    if (m_known.size() >= MostDevices)
        return endless;
    m_known.insert(folder, endless); // for a ring
    const Finding finding = judged(folder);
    m_known.insert(folder, finding);
    return finding;
}

Finding BlockDevices::judged(const QString& folder) {
    const QString name = fileName(folder);
    const QString mapper = folder + u"/dm"_s;
    if (m_facts.exists(mapper) && m_facts.text(mapper + u"/uuid"_s).state != Facts::State::Read)
        return Finding::unknown(u"disk.layer-hidden"_s, name);
    if (isEncryption(m_facts.line(mapper + u"/uuid"_s)))
        return Finding::yes();
    const QStringList below = m_facts.names(folder + u"/slaves"_s);
    const QString backing = m_facts.line(folder + u"/loop/backing_file"_s);
    if (!below.isEmpty())
        return ofLayersBelow(folder + u"/slaves/"_s, below);
    if (m_facts.exists(folder + u"/partition"_s)) {
        const Finding disk = ofDevice(folder.left(folder.lastIndexOf(u'/')));
        return disk.isNo() ? Finding::no(disk.code, name) : disk;
    }
    if (!backing.isEmpty())
        return m_ofFile(backing);
    const QString store = m_facts.line(folder + u"/backing_dev"_s);
    if (name.startsWith(u"zram"))
        return store.isEmpty() || store == u"none" ? Finding::yes() : ofSource(store);
    return folder.startsWith(u"/sys/devices/virtual/block/") || !m_facts.exists(folder + u"/dev"_s)
        ? Finding::unknown(u"disk.silent"_s, name)
        : Finding::no(u"disk.plain"_s, name);
}

Finding BlockDevices::ofLayersBelow(const QString& folder, const QStringList& below) {
    QList<Finding> parts;
    for (const QString& link : below) {
        const QString next = m_facts.resolved(folder + link);
        parts.append(next.isEmpty() ? Finding::unknown(u"disk.not-listed"_s, link) : ofDevice(next));
    }
    return worstOf(parts, {});
}

Finding BlockDevices::ofSource(const QString& source) {
    const QString name = kernelName(source);
    const QString folder = name.isEmpty() ? QString() : m_facts.resolved(u"/sys/class/block/"_s + name);
    return folder.isEmpty() ? Finding::unknown(u"disk.not-listed"_s, source) : ofDevice(folder);
}

QString BlockDevices::folderOfNumber(const QString& number) const {
    return m_facts.resolved(u"/sys/dev/block/"_s + number);
}

QString BlockDevices::kernelName(const QString& source) const {
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

bool BlockDevices::isRemovable(const QString& folder, int depth) const {
    if (m_facts.exists(folder + u"/partition"_s))
        return isRemovable(folder.left(folder.lastIndexOf(u'/')), depth);
    const QString slaves = folder + u"/slaves/"_s;
    const QStringList below = m_facts.names(slaves);
    bool areAll = !below.isEmpty() && depth < DeepestStack;
    for (const QString& link : below)
        areAll = areAll && isRemovable(m_facts.resolved(slaves + link), depth + 1);
    return areAll || m_facts.line(folder + u"/removable"_s) == u"1" || folder.contains(u"/usb") ||
        m_facts.line(folder + u"/device/type"_s) == u"SD";
}

bool BlockDevices::isVerifiedImage(const QString& folder) const {
    return m_facts.line(folder + u"/dm/uuid"_s).startsWith(u"CRYPT-VERITY-");
}

bool BlockDevices::isNoDisk(const QString& folder) const {
    const QString name = fileName(folder);
    return name.startsWith(u"nbd") || name.startsWith(u"rbd") || name.startsWith(u"ram");
}

bool BlockDevices::isForBooting(const QString& number) const {
    for (const QByteArray& line : m_facts.text(u"/run/udev/data/b"_s + number).bytes.split('\n')) {
        if (line == "E:ID_PART_ENTRY_TYPE=c12a7328-f81f-11d2-ba4b-00a0c93ec93b" ||
            line == "E:ID_PART_ENTRY_TYPE=bc13c2ff-59e6-4262-a352-b275fd6f7172" || line == "E:ID_PART_ENTRY_TYPE=0xef")
            return true;
    }
    return false;
}
