#include "FakeServices.h"
#include "HostFixture.h"
#include "PropertyList.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QElapsedTimer>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utmpx.h>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr auto Nobody = 65534;

using Pair = QPair<QString, QString>;

const QString On = u"FileVault is On.\n"_s;
const QString Off = u"FileVault is Off.\n"_s;
/// One plain disk with a partition.
const QString Disk = u"disk sda 8:0\npart sda2 8:2 sda\n"_s;
const QString Luks = Disk + u"mapped dm-0 253:0 CRYPT-LUKS2-0f-root root sda2\n"_s;
const QString OnLuks = Luks + u"mount 253:0 / ext4 /dev/mapper/root\n"_s;

} // namespace

/// The programs of the pack, run as anybody may run them, over made-up machines.
class tst_HostTools : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        qDBusRegisterMetaType<Pair>();
        qDBusRegisterMetaType<QList<Pair>>();
        // Elsewhere than where they were built, and readable for the user that they run as.
        QVERIFY(m_pack.isValid());
        open(m_pack.path());
        QVERIFY(QFile::copy(MAV_HOSTTOOLS, m_pack.filePath("mav-hosttools")));
        for (const char* name : {"defaults", "dsconfigad", "dscl", "fdesetup", "networksetup", "open", "scutil"})
            QVERIFY(QFile::link("mav-hosttools", m_pack.filePath(name)));
    }
    void init() {
        m_machine.emplace();
        open(m_machine->path());
    }

    void disk_data() {
        const auto row = [](const char* name, const QString& machine, const QString& answer) {
            QTest::newRow(name) << machine << answer;
        };
        QTest::addColumn<QString>("machine");
        QTest::addColumn<QString>("answer");
        const QString second = "disk sdb 8:16\npart sdb1 8:17 sdb\n";
        const QString bothLuks = Luks + second + "mapped dm-1 253:1 CRYPT-LUKS2-0e-two two sdb1\n";
        row("plain", Disk + "mount 8:2 / ext4 /dev/sda2\n", Off);
        row("LUKS", OnLuks, On);
        row("LUKS of the first version", QString(OnLuks).replace("LUKS2", "LUKS1"), On);
        row("LVM on LUKS",
            Luks +
                "mapped dm-1 253:1 LVM-ab vg-root dm-0\nmapped dm-2 253:2 LVM-cd vg-swap dm-0\n"
                "mount 253:1 / ext4 /dev/mapper/vg-root\n",
            On);
        row("LUKS on LVM",
            Disk +
                "mapped dm-0 253:0 LVM-ab vg-root sda2\nmapped dm-1 253:1 CRYPT-LUKS2-0f-root root dm-0\n"
                "mount 253:1 / xfs /dev/mapper/root\n",
            On);
        row("LVM on LUKS and a plain disk",
            Luks + second + "mapped dm-1 253:1 LVM-ab vg-root dm-0 sdb1\nmount 253:1 / ext4 /dev/mapper/vg-root\n",
            Off);
        row("array of LUKS", bothLuks + "array md0 9:0 dm-0 dm-1\nmount 9:0 / ext4 /dev/md0\n", On);
        row("array of LUKS and a plain disk", Luks + second + "array md0 9:0 dm-0 sdb1\nmount 9:0 / ext4 /dev/md0\n",
            Off);
        row("LUKS on an array",
            Disk + second +
                "array md0 9:0 sda2 sdb1\nmapped dm-0 253:0 CRYPT-LUKS2-0f-r r md0\n"
                "mount 253:0 / ext4 /dev/mapper/r\n",
            On);
        row("verity is no encryption",
            Disk + "mapped dm-0 253:0 CRYPT-VERITY-0f-root root sda2\nmount 253:0 / ext4 /dev/mapper/root\n", Off);
        row("integrity over LUKS",
            Luks + "mapped dm-1 253:1 CRYPT-INTEGRITY-x top dm-0\nmount 253:1 / ext4 /dev/mapper/top\n", On);
        row("an encrypted disk beside", Luks + "mount 8:2 / ext4 /dev/sda2\n", Off);
        row("covered root", OnLuks + "mount 8:2 / ext4 /dev/sda2\n", Off);

        row("btrfs on LUKS", bothLuks + "btrfs 0a dm-0 dm-1\nmount 0:30 / btrfs /dev/mapper/root\n", On);
        row("btrfs on LUKS and a plain disk",
            Luks + second + "btrfs 0a dm-0 sdb1\nmount 0:30 / btrfs /dev/mapper/root\n", Off);
        row("btrfs on a volume of LVM on LUKS",
            Luks + "mapped dm-1 253:1 LVM-ab my--vg-root dm-0\nbtrfs 0a dm-1\nmount 0:30 / btrfs /dev/my-vg/root\n",
            On);
        row("btrfs that is not listed", Luks + second + "btrfs 0a sdb1\nmount 0:30 / btrfs /dev/mapper/root\n",
            "the devices of the btrfs volume of / (/dev/mapper/root) are not listed");

        const QString onZfs = "mount 0:31 / zfs rpool/ROOT/debian\n";
        const QString plainZfs = onZfs + "script /usr/sbin/zfs #!/bin/sh\\necho off\n";
        const QString pool = "script /usr/sbin/zpool #!/bin/sh\\necho 'rpool\\t9\\n\\tmirror-0\\t9\\n\\t/dev/%1\\t9'\n";
        row("ZFS that encrypts",
            onZfs +
                "script /usr/sbin/zfs #!/bin/sh\\ntest \"$*\" = 'get -H -o value encryption rpool/ROOT/debian' && "
                "echo aes-256-gcm\n",
            On);
        row("ZFS on LUKS", Luks + plainZfs + QString(pool).arg("mapper/root"), On);
        row("ZFS on a plain disk", Luks + plainZfs + QString(pool).arg("sda2"), Off);
        row("ZFS without its commands", onZfs, "the command zfs is missing or does not answer");
        row("ZFS that fails", onZfs + "script /sbin/zfs #!/bin/sh\\necho aes-256-gcm; echo no >&2\n",
            "the command zfs is missing or does not answer");
        row("ZFS that hangs", onZfs + "script /sbin/zfs #!/bin/sh\\nexec sleep 20\n",
            "the command zfs is missing or does not answer");

        const QString overlay = "mount 0:40 / overlay overlay rw,lowerdir=/ro/image,upperdir=/rw/up,workdir=/rw/work\n";
        row("overlay with its writable part on LUKS",
            Luks + overlay + "mount 253:0 /rw ext4 /dev/mapper/root\nmount 8:2 /ro ext4 /dev/sda2\n", On);
        row("overlay with its writable part on a plain disk", Luks + overlay + "mount 8:2 /rw ext4 /dev/sda2\n", Off);
        row("overlay that keeps nothing, over a plain disk",
            Disk + overlay + "mount 0:41 /rw tmpfs tmpfs\nmount 8:2 /ro ext4 /dev/sda2\n", Off);
        row("container", Luks + "file /.dockerenv\n" + overlay, "the layer /rw/up is not seen from here");
        row("overlay over itself", overlay + "mount 0:41 /rw overlay o rw,lowerdir=/rw/a,upperdir=/rw/b\n",
            "lies over itself");

        const QString home = "disk sdb 8:16\nmount 8:16 /home ext4 /dev/sdb\n";
        row("home on a plain disk", OnLuks + home, Off);
        row("home from the network", OnLuks + "mount 0:50 /home nfs4 server:/home\n", On);
        row("root in a file on LUKS",
            Luks + "loop loop0 7:0 /host/root.img\nmount 7:0 / ext4 /dev/loop0\nmount 253:0 /host ext4 /dev/mapper/r\n",
            On);
        row("root in a file on itself", "loop loop0 7:0 /root.img\nmount 7:0 / ext4 /dev/loop0\n", "has no end");
        row("root from the network", "mount 0:50 / nfs4 server:/\n", "/ is on nfs4");

        row("nothing at all", "", "the table of mounts cannot be read");
        row("empty table", "file /proc/self/mountinfo\n", "the table of mounts cannot be read");
        row("huge table", "huge /proc/self/mountinfo\n", "the table of mounts cannot be read");
        row("table cut off",
            Luks +
                "file /proc/self/mountinfo 30 1 253:0 / / rw - ext4 /dev/root rw\\n31 30 8:2 / / rw - ext4 /dev/sda2 r",
            "the table of mounts cannot be read");
        row("table with foreign bytes", OnLuks + "mount 0:9 /m\xff\xfe tmpfs t\n", On);
        row("device that is gone", "mount 8:2 / ext4 /dev/sda2\n", "the device 8:2 of / is not listed");
        row("layer whose disk is gone", "mapped dm-0 253:0 LVM-ab r sda2\nmount 253:0 / ext4 /dev/mapper/r\n",
            "the device sda2 below dm-0 is not listed");
        row("layer over nothing", "mapped dm-0 253:0 LVM-ab r\nmount 253:0 / ext4 /dev/mapper/r\n",
            "the device dm-0 does not tell what it lies on");
        row("layers in a ring",
            "mapped dm-0 253:0 LVM-ab r\nmapped dm-1 253:1 LVM-cd s dm-0\nbelow dm-0 dm-1\n"
            "mount 253:0 / ext4 /dev/mapper/r\n",
            "has no end");
        row("damaged identifier",
            Disk + "mapped dm-0 253:0 \\xff\\xfeCRYPT-LUKS2- r sda2\nmount 253:0 / ext4 /dev/mapper/r\n", Off);
        row("hidden identifier", OnLuks + "hidden /sys/devices/virtual/block/dm-0/dm/uuid\n",
            "the device dm-0 does not tell what layer it is");
        row("device that leads out",
            "link /sys/dev/block/8:2 " + m_pack.filePath("mav-hosttools") + "\nmount 8:2 / ext4 /dev/sda2\n",
            "the device 8:2 of / is not listed");
        row("plain disk and one that is gone",
            Disk + "mapped dm-1 253:1 LVM-ab r away sda2\nmount 253:1 / ext4 /dev/mapper/r\n", Off);
        row("LUKS and a disk that is gone",
            Luks + "mapped dm-1 253:1 LVM-ab r away dm-0\nmount 253:1 / ext4 /dev/mapper/r\n",
            "the device away below dm-1 is not listed");
    }
    void disk() { compare({"fdesetup", "status"}); }

    void firewall_data() {
        const auto row = [](const char* name, const QString& machine, const QString& answer) {
            QTest::newRow(name) << machine << answer;
        };
        QTest::addColumn<QString>("machine");
        QTest::addColumn<QString>("answer");
        const QString noFilter = "file /proc/modules ext4 9 1 - Live 0x0\\n\nfile /proc/sys/kernel/osrelease 6.1\\n\n"
                                 "file /lib/modules/6.1/modules.builtin kernel/fs/ext4/ext4.ko\\n\n";
        const QString filter = QString(noFilter).replace("modules ext4", "modules nf_tables 9 0 - Live 0x0\\next4");
        const QString ufw = "file /etc/ufw/ufw.conf # settings\\nENABLED=yes\\nLOGLEVEL=low\\n\n"
                            "file /etc/default/ufw IPV6=yes\\nDEFAULT_INPUT_POLICY=\"DROP\"\\n\n";
        const QString rules = "unit nftables\nfile /etc/nftables.conf #!/usr/sbin/nft -f\\nflush ruleset\\n"
                              "table inet filter {\\n\\tchain input {\\n\\t\\ttype filter hook input priority 0; %1\\n"
                              "\\t}\\n\\tchain mine { %2 }\\n}\\n\n";
        const auto nft = [&rules](const char* input, const char* mine = "") {
            return QString(rules).arg(QLatin1String(input), QLatin1String(mine));
        };
        const QString byHand = "rules loaded by hand cannot be read without privilege\n";
        const QString open = "leave open what becomes of the rest";
        row("none", noFilter, "0\n");
        row("none, but a filter in the kernel", filter, byHand);
        row("none, with a filter built in", QString(noFilter).replace("ext4.ko", "ip_tables.ko"), byHand);
        row("nothing known of the kernel", "", byHand);

        row("ufw", filter + "unit ufw\n" + ufw, "1\n");
        row("ufw started by its own command", filter + ufw, "1\n");
        row("ufw not loaded", noFilter + ufw, "0\n");
        row("ufw that lets all in", noFilter + "unit ufw\n" + QString(ufw).replace("DROP", "ACCEPT"), "0\n");
        row("ufw not enabled", noFilter + "unit ufw\n" + QString(ufw).replace("=yes", "=no"), "0\n");
        row("ufw without a policy", filter + QString(ufw).replace("INPUT", "OUTPUT"), "does not tell what is done");
        row("ufw hidden", filter + ufw + "hidden /etc/ufw/ufw.conf\n", "ufw.conf cannot be read without privilege");
        row("ufw cut off", noFilter + ufw + "file /etc/ufw/ufw.conf ENABL\n", "0\n");
        row("ufw with foreign bytes", noFilter + ufw + "file /etc/ufw/ufw.conf \\xff\\xfe=yes\\nENABLED=\\xffyes\n",
            "0\n");
        row("ufw huge", noFilter + ufw + "huge /etc/ufw/ufw.conf\n", "/etc/ufw/ufw.conf cannot be read\n");

        row("nftables, policy drop", filter + nft("policy drop; ct state established accept"), "1\n");
        row("nftables, last rule drops", filter + nft("policy accept; tcp dport { 22, 80 } accept; counter drop"),
            "1\n");
        row("nftables, everything let in before", noFilter + nft("policy drop; accept; drop"), "0\n");
        row("nftables, empty", noFilter + nft("policy accept;"), "0\n");
        row("nftables, empty, more may be loaded", filter + nft("policy accept;"), byHand);
        row("nftables, another chain drops", filter + nft("jump mine", "ip saddr 10.0.0.0/8 accept; reject"), "1\n");
        row("nftables, another chain lets in", noFilter + nft("policy drop; jump mine", "accept"), "0\n");
        row("nftables, jump to nowhere", filter + nft("policy drop; jump other"), open);
        row("nftables, chains in a ring", filter + nft("jump mine", "jump mine"), open);
        QString chains;
        for (int i = 0; i < 14; ++i)
            chains += u"chain c%1 { "_s.arg(i) + u"jump c%1; "_s.arg(i + 1).repeated(14) + "}\\n";
        row("nftables, chains that multiply",
            filter +
                "unit nftables\nfile /etc/nftables.conf table ip a {\\nchain i { type filter hook input priority 0; "
                "jump c0; }\\n" +
                chains + "chain c14 { return; }\\n}\\n\n",
            open);
        row("nftables, policy elsewhere", filter + nft("policy $mine;"), open);
        row("nftables, a comment that drops", noFilter + nft("# policy drop;"), "0\n");
        row("nftables, only IPv6", noFilter + nft("policy drop;").replace("inet", "ip6"), "0\n");
        row("nftables, one by one",
            filter +
                "unit nftables\nfile /etc/nftables.conf add table ip a\\nadd chain ip a in { type filter hook input "
                "priority 0; policy drop; }\\n\n",
            "1\n");
        row("nftables, taken away", filter + nft("policy drop;").replace("}\\n\n", "}\\nflush ruleset\\n\n"), open);
        row("nftables, included",
            filter +
                "unit nftables\nfile /etc/nftables.conf include \"/etc/nftables.d/*.nft\"\\n\nfile "
                "/etc/nftables.d/a.nft table ip a { chain b { type filter hook input priority 0; policy drop; } }\\n\n",
            "1\n");
        row("nftables, included in a ring",
            filter + "unit nftables\nfile /etc/nftables.conf include \"/etc/nftables.conf\"\\n\n", "cannot be read");
        row("nftables, cut off",
            filter +
                "unit nftables\nfile /etc/nftables.conf table ip a { chain b { type filter hook "
                "input priority 0; policy drop;",
            open);
        row("nftables, hidden", filter + nft("policy drop;") + "hidden /etc/nftables.conf\n",
            "cannot be read without privilege");
        row("nftables, not started", noFilter + nft("policy drop;").remove("unit nftables\n"), "0\n");
        row("rules of iptables", filter + "unit netfilter-persistent\n",
            "the rules of netfilter-persistent cannot be read without privilege");

        row("firewalld without a bus", filter + "unit firewalld\n", "firewalld runs and does not tell its state");
        row("ufw and firewalld without a bus", filter + "unit firewalld\nunit ufw\n" + ufw, "1\n");
        row("ufw off and nftables on", filter + QString(ufw).replace("=yes", "=no") + nft("policy drop;"), "1\n");
        row("ufw off and nftables hidden",
            filter + QString(ufw).replace("=yes", "=no") + nft("policy drop;") + "hidden /etc/nftables.conf\n",
            "cannot be read without privilege");
    }
    void firewall() { compare({"defaults", "read", "/Library/Preferences/com.apple.alf", "globalstate"}); }

    void firewalldOnTheBus_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("zone");
        QTest::addColumn<QString>("machine");
        QTest::addColumn<QString>("answer");
        const QString runs = "file /proc/modules\nfile /proc/sys/kernel/osrelease 6\\n\n"
                             "file /lib/modules/6/modules.builtin\nunit firewalld\n";
        QTest::newRow("running") << "RUNNING"
                                 << "public" << runs << "1\n";
        QTest::newRow("zone not told") << "RUNNING"
                                       << "" << runs << "1\n";
        QTest::newRow("failed") << "FAILED"
                                << "public" << runs << "0\n";
        QTest::newRow("trusts everybody") << "RUNNING"
                                          << "trusted" << runs << "0\n";
        QTest::newRow("state not told") << ""
                                        << "" << runs << "firewalld runs and does not tell its state";
        QTest::newRow("several at once") << "FAILED"
                                         << "public"
                                         << runs +
                "unit ufw\nfile /etc/ufw/ufw.conf ENABLED=yes\\n\n"
                "file /etc/default/ufw DEFAULT_INPUT_POLICY=REJECT\\n\n"
                                         << "1\n";
    }
    void firewalldOnTheBus() {
        QFETCH(QString, state);
        QFETCH(QString, zone);
        const FakeSystemBus bus(m_machine->path());
        FakeObjects objects;
        if (!state.isEmpty())
            objects.answers["/org/fedoraproject/FirewallD1 state"] = state;
        if (!zone.isEmpty())
            objects.answers["getDefaultZone"] = zone;
        serve(bus, objects, "org.fedoraproject.FirewallD1");
        compare({"defaults", "read", "/Library/Preferences/com.apple.alf.plist", "globalstate"});
    }

    void busThatHangs() {
        QVERIFY(QDir(m_machine->path()).mkpath("run/dbus"));
        const QByteArray path = m_machine->filePath("run/dbus/system_bus_socket").toLocal8Bit();
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        QVERIFY(path.size() < qsizetype(sizeof address.sun_path));
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        QVERIFY(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && ::listen(socket, 4) == 0);
        QVERIFY(::chmod(path.constData(), 0777) == 0);
        QCOMPARE(HostFixture(m_machine->path()).build("unit firewalld\nunit sssd\n"), QString());
        QElapsedTimer clock;
        clock.start();
        const Result firewall = run({"defaults", "read", "/Library/Preferences/com.apple.alf", "globalstate"});
        const Result domain = run({"dsconfigad", "-show"});
        ::close(socket);
        QVERIFY2(clock.elapsed() < 2900, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(firewall.output.isEmpty() && firewall.error.contains("firewalld runs and does not tell its state"));
        QVERIFY(domain.output.isEmpty() && domain.error.contains("cannot be read without privilege"));
    }

    void domain_data() {
        const auto row = [](const char* name, const QString& machine, const QString& answer) {
            QTest::newRow(name) << machine << answer;
        };
        QTest::addColumn<QString>("machine");
        QTest::addColumn<QString>("answer");
        const QString shown = "Active Directory Domain          = corp.example\n"
                              "Computer Account                 = %1$\n";
        const QString host = "file /proc/sys/kernel/hostname ws-0042-berlin.corp.example\\n\n";
        const QString sssd = host +
            "unit sssd\nfile /etc/krb5.keytab\nhidden /etc/krb5.keytab\n"
            "file /etc/sssd/sssd.conf [sssd]\\ndomains = corp.example, other\\n\\n"
            "[domain/corp.example]\\nid_provider = ad\\n; a comment\\n\n";
        const QString hidden = sssd + "hidden /etc/sssd/sssd.conf\n";
        const QString traces = hidden +
            "file /var/lib/sss/pubconf/kdcinfo.CORP.EXAMPLE 10.0.0.1\\n\nfile "
            "/var/lib/sss/pubconf/krb5.include.d/domain_realm_corp_example "
            "[domain_realm]\\n\n";
        const QString winbind = host +
            "unit winbind\nfile /etc/samba/smb.conf [Global]\\n  security = ADS\\n  realm = "
            "CORP.EXAMPLE\\n  workgroup = CORPNET\\n  netbios name = WS42\\n\n";
        const QString unclear = "which directory sssd or winbind serves cannot be read without privilege";
        row("none", host, "");
        row("none, with client settings for tickets",
            host + "file /etc/krb5.conf [libdefaults]\\ndefault_realm = X.Y\\n\n", "");
        row("sssd with readable settings", sssd, shown.arg("WS-0042-BERLIN"));
        row("sssd with names of its own",
            QString(sssd).replace("id_provider = ad",
                "id_provider = ad\\nad_domain = CORP.example\\nldap_sasl_authid = "
                "PC7$@CORP.EXAMPLE"),
            shown.arg("PC7"));
        row("sssd without a key", QString(sssd).remove("file /etc/krb5.keytab\nhidden /etc/krb5.keytab\n"), unclear);
        row("sssd with another directory", QString(sssd).replace("= ad", "= ldap"), unclear);
        row("sssd with hidden settings", traces, shown.arg("WS-0042-BERLIN"));
        row("sssd that does not run", QString(traces).remove("unit sssd\n") + "unit cron\n", "");
        row("sssd with a directory that has files like those",
            traces + "file /etc/ipa/default.conf [global]\\nrealm = CORP.EXAMPLE\\n\n", unclear);
        row("sssd without traces", hidden, unclear);
        row("winbind", winbind, shown.arg("WS42"));
        row("winbind as a file server alone", QString(winbind).replace("ADS", "user"), unclear);
        row("settings of samba that nobody uses", QString(winbind).remove("unit winbind\n"), "");
        row("name that is none", QString(winbind).replace("= CORP.EXAMPLE", "= CORP\\xff'; rm"),
            "the name of the directory is damaged");
        row("settings huge", sssd + "huge /etc/sssd/sssd.conf\n", unclear);
    }
    void domain() { compare({"dsconfigad", "-show"}); }

    void realmdOnTheBus_data() {
        QTest::addColumn<QString>("configured");
        QTest::addColumn<QString>("software");
        QTest::addColumn<QString>("machine");
        QTest::addColumn<QString>("answer");
        const QString machine = "unit sssd\nfile /proc/sys/kernel/hostname mb-1234\\n\n";
        QTest::newRow("joined") << "org.freedesktop.realmd.KerberosMembership"
                                << "active-directory" << machine
                                << "Active Directory Domain          = corp.example\n"
                                   "Computer Account                 = MB-1234$\n";
        QTest::newRow("only found") << ""
                                    << "active-directory" << machine << "";
        QTest::newRow("another directory") << "org.freedesktop.realmd.KerberosMembership"
                                           << "ipa" << machine << "";
    }
    void realmdOnTheBus() {
        QFETCH(QString, configured);
        QFETCH(QString, software);
        const FakeSystemBus bus(m_machine->path());
        FakeObjects objects;
        const QString realm = "/org/freedesktop/realmd/Sssd/corp_example";
        objects.answers["/org/freedesktop/realmd Realms"] =
            QVariant::fromValue(QList<QDBusObjectPath>{QDBusObjectPath(realm)});
        objects.answers[realm + " Name"] = "corp.example";
        objects.answers[realm + " Configured"] = configured;
        objects.answers[realm + " Details"] =
            QVariant::fromValue(QList<Pair>{{"client-software", "sssd"}, {"server-software", software}});
        serve(bus, objects, "org.freedesktop.realmd");
        compare({"dsconfigad", "-show"});
    }

    void others_data() {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("machine");
        QTest::addColumn<QString>("answer");
        const QString joined =
            "unit winbind\nfile /etc/nsswitch.conf passwd:  files winbind\\n\n"
            "file /etc/passwd root:x:0:0::/:/bin/sh\\nanna:x:1000:1000::/home/anna:/bin/sh\\n\n"
            "file /etc/samba/smb.conf [global]\\nsecurity=ads\\nrealm=CORP.EXAMPLE\\nworkgroup=CORP\\n\n"
            "file /run/systemd/users/200101 NAME=lisi\\n\nfile /run/systemd/users/200102 NAME=wang@sub.x\\n\n"
            "file /run/systemd/users/60010 NAME=portable\\n\n";
        const auto node = [](const char* user) {
            return QStringList{"dscl", ".", "-read", "/Users/" + QString::fromUtf8(user), "OriginalNodeName"};
        };
        const auto row = [](const char* name, const QStringList& command, const QString& machine,
                             const QString& answer) { QTest::newRow(name) << command << machine << answer; };
        const QString noKey = "No such key: OriginalNodeName\n";
        row("user of the domain", node("lisi"), joined, "OriginalNodeName: /Active Directory/CORP/corp.example\n");
        row("user of another domain", node("wang@sub.x"), joined, "OriginalNodeName: /Active Directory/SUB/sub.x\n");
        row("user of this computer", node("anna"), joined, noKey);
        row("user with a portable home", node("portable"), joined, noKey);
        row("user of another kind of directory", node("lisi"), QString(joined).replace("files winbind", "files ldap"),
            noKey);
        row("user whom nobody knows", node("nn"), joined, "eDSRecordNotFound");
        row("user of a directory that is none", node("lisi"), QString(joined).replace("ads", "user"), "cannot tell");
        row("name that is a path", node("../../etc"), joined, "answers only to");
        const QStringList list{"dscl", "localhost", "-list", "."};
        row("list of a member", list, joined, "Active Directory\nLocal\nSearch\n");
        row("list of none", list, "", "Local\nSearch\n");

        const QStringList last{"defaults", "read", "/Library/Preferences/com.apple.loginwindow.plist", "lastUserName"};
        const QString session = "file /run/systemd/seats/seat0 ACTIVE=c2\\n\n"
                                "file /run/systemd/sessions/c2 USER=%1\\nCLASS=%2\\n\n";
        row("user at the seat", last, session.arg("李四", "user"), "李四\n");
        row("nobody at the seat", last, session.arg("gdm", "greeter"), "does not exist");
        const QStringList name{"scutil", "--get", "ComputerName"};
        row("name for people", name,
            "file /etc/machine-info PRETTY_HOSTNAME=\"Anna's 电脑\"\\n\nfile /etc/hostname mb-1\\n\n", "Anna's 电脑\n");
        row("name of the host", name, "file /etc/hostname mb-1\\n\n", "mb-1\n");
        row("no name", name, "", "ComputerName: not set");

        const QString lan =
            "file /sys/class/net/eth0/device/x\nfile /sys/class/net/eth0/address 02:fc:00:00:00:01\\n\n"
            "file /sys/class/net/wlan0/device/x\nfile /sys/class/net/wlan0/uevent DEVTYPE=wlan\\n\n"
            "file /sys/class/net/wlan0/address 02:fc:00:00:00:0a\\n\nfile /sys/class/net/wlan0/ifindex 3\\n\n"
            "file /sys/class/net/veth1/address 02:fc:00:00:00:03\\n\n"
            "file /run/NetworkManager/devices/3 [device]\\nconnection-uuid=u-1\\n\n"
            "file /etc/NetworkManager/system-connections/a.nmconnection [connection]\\nid=Lena's Wire\\nuuid=u-1\\n\n"
            "file /proc/net/route Iface\\tDestination\\tGateway\\nwlan0\\t00000000\\t0102000A\\t0003\\t0\\t0"
            "\\t600\\t00000000\\n\n";
        row("ports", {"networksetup", "-listallhardwareports"}, lan,
            "\nHardware Port: Ethernet\nDevice: eth0\nEthernet Address: 02:fc:00:00:00:01\n"
            "\nHardware Port: Wi-Fi\nDevice: wlan0\nEthernet Address: 02:fc:00:00:00:0a\n"
            "\nVLAN Configurations\n===================\n");
        row("services", {"networksetup", "-listnetworkserviceorder"}, lan,
            "An asterisk (*) denotes that a network service is disabled.\n"
            "(1) Lena's Wire\n(Hardware Port: Wi-Fi, Device: wlan0)\n\n"
            "(2) eth0\n(Hardware Port: Ethernet, Device: eth0)\n\n");
        row("service that is none", {"networksetup", "-getinfo", "x\ny"}, lan,
            "x y is not a recognized network service.");
        // The loop-back interface is the one that every machine has with an address.
        row("address", {"networksetup", "-getinfo", "lo"},
            "file /sys/class/net/lo/device/x\nfile /sys/class/net/lo/ifindex 1\\n\nfile /run/systemd/netif/leases/1\n"
            "file /proc/net/route I\\tD\\nlo\\t00000000\\t0100007F\\t0003\\t0\\t0\\t0\\t00000000\\n\n",
            "DHCP Configuration\nIP address: 127.0.0.1\nSubnet mask: 255.0.0.0\nRouter: 127.0.0.1\n");

        for (const char* tool : {"defaults", "dsconfigad", "dscl", "fdesetup", "networksetup", "scutil"})
            row(tool, {tool, "write", "something", "else", "now"}, "", "answers only to");
    }
    void others() {
        QFETCH(QStringList, command);
        compare(command);
    }

    void lastLogin() {
        QByteArray log;
        const auto add = [&log](short type, const char* user, const char* line) {
            utmpx record{};
            record.ut_type = type;
            std::memcpy(record.ut_user, user, std::strlen(user));
            std::memcpy(record.ut_line, line, std::strlen(line));
            log.append(reinterpret_cast<const char*>(&record), sizeof record);
        };
        add(USER_PROCESS, "anna", "tty2");
        add(USER_PROCESS, "remote", "pts/0");
        add(USER_PROCESS, "serial", "ttyS0");
        add(DEAD_PROCESS, "", "tty2");
        add(LOGIN_PROCESS, "LOGIN", "tty1");
        QVERIFY(QDir(m_machine->path()).mkpath("var/log"));
        // Cut off in the middle of a record.
        put("var/log/wtmp", log + log.left(100));
        const QStringList command{"defaults", "read", "/Library/Preferences/com.apple.loginwindow", "lastUserName"};
        QCOMPARE(run(command).output, QString("anna\n"));
        put("var/log/wtmp", log.left(100));
        QCOMPARE(run(command).output, QString());
    }

    void propertyLists_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("answer");
        using Platform::ArchiveValue;
        const ArchiveValue root(
            ArchiveValue::Dictionary{{"version", "2.10"}, {"名", ArchiveValue::Array{"张 三", 7, true}},
                {"at", ArchiveValue::date(0)}, {"bytes", QByteArray("\x01\x02\x03\x04\x05")}});
        const QByteArray binary = Platform::PropertyList::binaryData(root);
        QTest::newRow("text") << binary << "version"
                              << "2.10\n";
        QTest::newRow("text of the other form") << Platform::PropertyList::xmlData(root) << "version"
                                                << "2.10\n";
        QTest::newRow("list") << binary << "名"
                              << "(\n    \"\\U5f20 \\U4e09\",\n    7,\n    1\n)\n";
        QTest::newRow("date") << binary << "at"
                              << "2001-01-01 00:00:00 +0000\n";
        QTest::newRow("bytes") << binary << "bytes"
                               << "{length = 5, bytes = 0x01020304 05}\n";
        QTest::newRow("all") << binary << QString()
                             << "{\n    at = \"2001-01-01 00:00:00 +0000\";\n"
                                "    bytes = {length = 5, bytes = 0x01020304 05};\n    version = 2.10;\n"
                                "    \"\\U540d\" = (\n        \"\\U5f20 \\U4e09\",\n        7,\n        1\n    );\n}\n";
        QTest::newRow("no such key") << binary << "x"
                                     << "does not exist";
        QTest::newRow("cut off") << binary.chopped(9) << "version"
                                 << "is no property list";
        QTest::newRow("empty") << QByteArray() << "version"
                               << "is no property list";
        QTest::newRow("foreign bytes") << QByteArray("\xff\xfe<plist>") << "version"
                                       << "is no property list";
        QTest::newRow("huge") << QByteArray(9 << 20, ' ') << "version"
                              << "cannot be read";
    }
    void propertyLists() {
        QFETCH(QByteArray, file);
        QFETCH(QString, key);
        QFETCH(QString, answer);
        put("信息.plist", file);
        for (const char* name : {"信息.plist", "信息"}) {
            QStringList command{"defaults", "read", m_machine->filePath(name)};
            if (!key.isNull())
                command.append(key);
            check(run(command), answer);
        }
    }

    void openStartsProgramsApart_data() {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("answer");
        QTest::newRow("program") << QStringList{"-a", "X.app/Contents/MacOS/X", "a b", "$c"} << "a b|$c|";
        QTest::newRow("bundle") << QStringList{"-a", "X.app", "x"} << "x||";
        QTest::newRow("none there") << QStringList{"-a", "Y.app"} << "cannot start ";
        QTest::newRow("nothing") << QStringList{} << "answers only to";
        QTest::newRow("option") << QStringList{"-R", "x"} << "answers only to";
    }
    void openStartsProgramsApart() {
        QFETCH(QStringList, command);
        QFETCH(QString, answer);
        const QString noted = m_machine->filePath("noted");
        QVERIFY(QDir(m_machine->path()).mkpath("X.app/Contents/MacOS"));
        put("X.app/Contents/MacOS/X",
            "#!/bin/sh\nprintf '%s|%s|%s' \"$1\" \"$2\" \"$LC_ALL\" >" + noted.toUtf8() + ".new\nmv " + noted.toUtf8() +
                ".new " + noted.toUtf8() + "\nsleep 1\n");
        open(m_machine->filePath("X.app/Contents/MacOS/X"));
        QVERIFY(::chmod(QFile::encodeName(m_machine->path()).constData(), 0777) == 0);
        if (command.size() > 1 && command[0] == u"-a")
            command[1] = m_machine->filePath(command[1]);
        const Result result = run(QStringList{"open"} + command);
        if (answer.contains(u'|')) {
            QCOMPARE(result.error, QString());
            QTRY_VERIFY(QFile::exists(noted));
            QFile file(noted);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(QString::fromUtf8(file.readAll()), answer);
        } else {
            check(result, answer);
        }
    }

    void rootAsOption() {
        QCOMPARE(HostFixture(m_machine->path()).build(OnLuks), QString());
        QCOMPARE(run({"mav-hosttools", "--root", m_machine->path(), "fdesetup", "status"}, "/nonexistent").output, On);
        QCOMPARE(run({"mav-hosttools", "fdesetup"}).status, 64);
        QCOMPARE(run({"mav-hosttools"}).status, 64);
    }

    void thisMachineAgreesWithItsListOfDevices() {
        const QString lsblk = QStandardPaths::findExecutable("lsblk");
        const QString findmnt = QStandardPaths::findExecutable("findmnt");
        QVERIFY(!lsblk.isEmpty() && !findmnt.isEmpty());
        const QByteArray source = outputOf(findmnt, {"-nvo", "SOURCE", "/"}).trimmed();
        const QByteArray types = source.startsWith("/dev/") ? outputOf(lsblk, {"-sno", "TYPE", source}) : QByteArray();
        const Result result = run({"fdesetup", "status"}, QString());
        if (types.trimmed().isEmpty())
            QVERIFY(result.output.isEmpty() || result.output == On || result.output == Off);
        else if (!types.contains("crypt"))
            QCOMPARE(result.output, Off);
        else
            QVERIFY(result.output != Off || types.count("disk") > 1);
    }

private:
    struct Result {
        QString output;
        QString error;
        int status = -1;
    };

    static void open(const QString& folder) { QVERIFY(::chmod(QFile::encodeName(folder).constData(), 0755) == 0); }

    static QByteArray outputOf(const QString& program, const QStringList& arguments) {
        QProcess process;
        process.start(program, arguments);
        process.waitForFinished(10000);
        return process.readAllStandardOutput();
    }

    void put(const QString& name, const QByteArray& content) const {
        QFile file(m_machine->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }

    static void serve(const FakeSystemBus& bus, FakeObjects& objects, const QString& service) {
        QDBusConnection connection = bus.connection();
        QVERIFY(connection.isConnected());
        QVERIFY(connection.registerVirtualObject("/", &objects, QDBusConnection::SubPath));
        QVERIFY(connection.registerService(service));
    }

    Result run(const QStringList& command) const { return run(command, m_machine->path()); }
    /// As a user without any privilege. The event loop runs meanwhile: services may be ours.
    Result run(const QStringList& command, const QString& root) const {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("MAV_FACTS_ROOT", root);
        environment.insert("LC_ALL", "C.UTF-8"); // as the client runs them
        process.setProcessEnvironment(environment);
        process.setChildProcessModifier([] {
            if (::geteuid() == 0 && (::setgroups(0, nullptr) || ::setgid(Nobody) || ::setuid(Nobody)))
                ::_exit(99);
        });
        process.start(m_pack.filePath(command[0]), command.mid(1));
        for (int i = 0; i < 1000 && process.state() != QProcess::NotRunning; ++i)
            QTest::qWait(10);
        const bool isDone = process.state() == QProcess::NotRunning && process.exitStatus() == QProcess::NormalExit;
        return {QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError()),
            isDone ? process.exitCode() : -1};
    }

    /// An answer that ends in a line end, or is empty, is all of the output; any other is a part of the one line of
    /// error.
    static void check(const Result& result, const QString& answer) {
        const bool isError = !answer.isEmpty() && (!answer.endsWith(u'\n') || result.status != 0);
        if (!isError) {
            QCOMPARE(result.error, QString());
            QCOMPARE(result.output, answer);
            QCOMPARE(result.status, 0);
            return;
        }
        QCOMPARE(result.output, QString());
        QVERIFY2(result.error.contains(answer), qPrintable(result.error));
        QCOMPARE(result.error.count(u'\n'), 1);
        QVERIFY(result.status > 0);
    }

    void compare(const QStringList& command) const {
        QFETCH(QString, machine);
        QFETCH(QString, answer);
        QCOMPARE(HostFixture(m_machine->path()).build(machine), QString());
        check(run(command), answer);
    }

    QTemporaryDir m_pack;
    std::optional<QTemporaryDir> m_machine;
};

QTEST_GUILESS_MAIN(tst_HostTools)
#include "tst_HostTools.moc"
