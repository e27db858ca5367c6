// What the host tools read of the system, each part of the input as one of its files: nothing may crash or take long,
// and a computer without a mount is not called encrypted.

#include "DiskEncryption.h"
#include "DomainFacts.h"
#include "FirewallFacts.h"
#include "Fuzzing.h"
#include "KeyFile.h"
#include "Mounts.h"
#include "NetworkService.h"
#include "PropertyList.h"
#include "PropertyListText.h"
#include "UserFacts.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

/// In the order of the parts; "sda" is a disk and "dm-0" lies over it.
constexpr const char* Files[] = {"proc/self/mountinfo", "proc/swaps", "sys/devices/virtual/block/dm-0/dm/uuid",
    "run/udev/data/b8:0", "sys/devices/pci0/block/sda/loop/backing_file", "etc/sssd/sssd.conf", "etc/samba/smb.conf",
    "etc/krb5.conf", "etc/nsswitch.conf", "etc/passwd", "var/log/wtmp", "run/systemd/seats/seat0", "etc/ufw/ufw.conf",
    "etc/default/ufw", "proc/modules", "sys/class/net/eth0/ifindex", "run/NetworkManager/devices/2"};

/// The machine's folders and the links between them, made once.
void makeMachine(InputFolder& root) {
    for (const char* file : Files)
        require(QDir().mkpath(QFileInfo(root.path(QString::fromLatin1(file))).path()), "no folder");
    for (const char* folder : {"sys/class/block", "sys/dev/block", "sys/class/net/eth0/device", "usr/sbin/ufw",
             "sys/devices/virtual/block/dm-0/slaves"})
        require(QDir().mkpath(root.path(QString::fromLatin1(folder))), "no folder");
    for (const auto& [number, folder] :
        {std::pair("8:0", "pci0/block/sda"), std::pair("253:0", "virtual/block/dm-0")}) {
        const QString device = u"sys/devices/"_s + QString::fromLatin1(folder);
        root.write(device + u"/dev"_s, number);
        QFile::link(u"../../../"_s + device, root.path(u"sys/dev/block/"_s + QString::fromLatin1(number)));
        QFile::link(u"../../../"_s + device, root.path(u"sys/class/block/"_s + QFileInfo(device).fileName()));
    }
    QFile::link(u"../../../../pci0/block/sda"_s, root.path(u"sys/devices/virtual/block/dm-0/slaves/sda"_s));
}

void readFormats(const QByteArray& part) {
    for (const auto& group : parseKeyFile(part))
        require(!group.contains(QString()), "a setting without a name");
    if (const auto list = Platform::PropertyList::decoded(part))
        require(!propertyListText(*list).contains(QChar(0)) || part.contains('\0'), "a zero from nowhere");
    if (const auto mounts = Mounts::parsed(part)) {
        require(!mounts->at(u"/"_s) || mounts->holding(u"/no/such/folder"_s), "below the root and on nothing");
        for (const Mount& mount : mounts->visible())
            require(!mount.point.startsWith(u'/') || mounts->holding(mount.point), "a place of a mount on nothing");
    }
}

} // namespace

void fuzz(const QByteArray& input) {
    static InputFolder root;
    static const bool isMade = (makeMachine(root), true);
    QList<QByteArray> parts = partsOf(input);
    parts.resize(isMade ? static_cast<qsizetype>(std::size(Files)) : 0);
    for (qsizetype i = 0; i < parts.size(); ++i) {
        root.write(QString::fromLatin1(Files[i]), parts[i]);
        readFormats(parts[i]);
    }
    const Facts facts(root.path());
    const Finding disk = DiskEncryption(facts, u"/home/alice"_s).find();
    require(!disk.isYes() || parts[2].contains("CRYPT") || parts[0].contains("ecryptfs"), "encrypted by nothing");
    FirewallFacts(facts).find();
    DomainFacts(facts).find();
    networkServices(facts);
    const UserFacts users(facts);
    users.originOf(users.lastConsoleUser(), {u"corp.example"_s});
}
