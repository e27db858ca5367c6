#include "HostFixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QByteArray unescaped(const QString& text) {
    QByteArray bytes;
    const QByteArray raw = text.toUtf8();
    for (qsizetype i = 0; i < raw.size(); ++i) {
        if (raw[i] != '\\') {
            bytes += raw[i];
        } else if (raw.mid(i + 1, 1) == "x") {
            bytes += QByteArray::fromHex(raw.mid(i + 2, 2));
            i += 3;
        } else {
            const QByteArray escaped = raw.mid(++i, 1);
            bytes += escaped == "n" ? "\n" : escaped == "\\" ? "\\" : "\t";
        }
    }
    return bytes;
}

} // namespace

QString HostFixture::build(const QString& lines) {
    for (const QString& line : lines.split(u'\n', Qt::SkipEmptyParts)) {
        if (!add(line.trimmed()))
            return line;
    }
    const QString mounts = u"/proc/self/mountinfo"_s;
    return m_mounts.isEmpty() || write(mounts, m_mounts) ? QString() : mounts;
}

bool HostFixture::add(const QString& line) {
    const QStringList words = line.split(u' ');
    const QString rest = line.section(u' ', 2);
    const QString& kind = words[0];
    if (kind == u"mount") {
        m_mounts += u"30 1 %1 / %2 rw,relatime shared:1 - %3 %4 %5\n"_s
                        .arg(words.value(1), words.value(2), words.value(3), words.value(4), words.value(5, "rw"))
                        .toUtf8();
        return words.size() > 4;
    }
    if (kind == u"file" || kind == u"script")
        return write(words[1], unescaped(rest), kind == u"script");
    if (kind == u"huge")
        return write(words[1], QByteArray(3 << 20, 'x'));
    if (kind == u"hidden")
        return QFile::setPermissions(m_root + words[1], {});
    if (kind == u"link")
        return link(words[1], words[2]);
    if (kind == u"unit")
        return link(u"/run/systemd/units/invocation:%1.service"_s.arg(words[1]), u"0123ab"_s);
    if (kind == u"below")
        return linkToDevice(m_devices.value(words[1]) + u"/slaves/"_s + words[2], words[2]);
    if (kind == u"btrfs" || kind == u"bcachefs") {
        bool isDone = true;
        for (qsizetype i = 2; i < words.size(); ++i) {
            const QString path = kind == u"btrfs" ? u"/devices/"_s + words[i] : u"/dev-%1/block"_s.arg(i - 2);
            isDone = isDone && linkToDevice(u"/sys/fs/"_s + kind + u'/' + words[1] + path, words[i]);
        }
        return isDone;
    }
    return addDevice(kind, words);
}

bool HostFixture::addDevice(const QString& kind, const QStringList& words) {
    const QString name = words.value(1);
    const QMap<QString, QString> places{{u"disk"_s, u"/sys/devices/pci0/ata1/block"_s},
        {u"usbdisk"_s, u"/sys/devices/pci0/usb1/1-2/host6/block"_s},
        {u"nvme"_s, u"/sys/devices/virtual/nvme-subsystem/nvme-subsys0"_s},
        {u"part"_s, m_devices.value(words.value(3))}};
    const bool isDisk = places.contains(kind) && kind != u"part";
    const QString folder = places.value(kind, u"/sys/devices/virtual/block"_s) + u'/' + name;
    m_devices[name] = folder;
    bool isDone = write(folder + "/dev", words.value(2).toUtf8() + '\n') &&
        linkToDevice("/sys/class/block/" + name, name) && linkToDevice("/sys/dev/block/" + words[2], name);
    QStringList below;
    if (kind == u"part") {
        isDone = isDone && write(folder + "/partition", "1\n");
    } else if (kind == u"loop") {
        isDone = isDone && write(folder + "/loop/backing_file", words.value(3).toUtf8() + '\n');
    } else if (kind == u"mapped") {
        isDone = isDone && write(folder + "/dm/uuid", words[3] == u"-" ? "\n" : unescaped(words[3]) + '\n') &&
            write(folder + "/dm/name", words.value(4).toUtf8() + '\n');
        below = words.mid(5);
    } else if (kind == u"array") {
        below = words.mid(3);
    } else if (!isDisk) {
        return false;
    }
    for (const QString& other : below)
        isDone = isDone && linkToDevice(folder + "/slaves/" + other, other);
    return isDone;
}

bool HostFixture::write(const QString& path, const QByteArray& content, bool isProgram) const {
    QFile file(m_root + path);
    const bool isDone = QDir().mkpath(QFileInfo(file).path()) && file.open(QIODevice::WriteOnly) &&
        file.write(content) == content.size();
    return isDone &&
        (!isProgram || file.setPermissions(file.permissions() | QFile::ExeUser | QFile::ExeGroup | QFile::ExeOther));
}

bool HostFixture::link(const QString& path, const QString& target) const {
    return QDir().mkpath(QFileInfo(m_root + path).path()) && QFile::link(target, m_root + path);
}

/// As the kernel does: relative, so that the folder may stand anywhere.
bool HostFixture::linkToDevice(const QString& path, const QString& name) const {
    const QString folder = m_devices.value(name, u"/sys/devices/gone/"_s + name);
    return link(path, QDir(QFileInfo(path).path()).relativeFilePath(folder));
}
