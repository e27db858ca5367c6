#include "FakeServices.h"
#include "MachineTest.h"
#include "PropertyList.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QStandardPaths>

#include <cstring>

#include <sys/stat.h>
#include <utmpx.h>

namespace {

using Pair = QPair<QString, QString>;
using Zones = QMap<QString, QMap<QString, QStringList>>;

const QString On = u"FileVault is On.\n"_s;
const QString Off = u"FileVault is Off.\n"_s;

} // namespace

/// The programs of the pack, run as anybody may run them, over made-up machines.
class tst_HostTools : public MachineTest {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        qDBusRegisterMetaType<Pair>();
        qDBusRegisterMetaType<QList<Pair>>();
        qDBusRegisterMetaType<QMap<QString, QStringList>>();
        qDBusRegisterMetaType<Zones>();
    }

    void firewalldOnTheBus() {
        build("file /proc/modules nf_tables 1\\n\nunit firewalld\n"
              "file /sys/class/net/eth0/device/x\nfile /sys/class/net/docker0/address\n"
              "file /sys/class/net/br0/lower_eth0/x\n");
        const FakeSystemBus bus(m_machine->path());
        FakeObjects objects;
        bus.serve(&objects, "org.fedoraproject.FirewallD1");
        const auto answerIs = [&](const QString& answer, const QString& defaultZone, const Zones& zones) {
            objects.answers["getDefaultZone"] = defaultZone.isEmpty() ? QVariant() : QVariant(defaultZone);
            objects.answers["getActiveZones"] = QVariant::fromValue(zones);
            HostPack::check(
                run({"defaults", "read", "/Library/Preferences/com.apple.alf.plist", "globalstate"}), answer);
        };
        const auto active = [](const QString& zone, const QString& kind, const QString& name) {
            return Zones{{zone, {{kind, {name}}}}};
        };
        const QString cards = u"interfaces"_s;
        answerIs("1\n", "public", active("home", cards, "eth0"));
        answerIs("1\n", "drop", {});
        answerIs("0\n", "trusted", {});
        answerIs("0\n", "public", active("trusted", cards, "eth0"));
        answerIs("0\n", "public", active("trusted", cards, "usb0"));   // a card that is not there
        answerIs("1\n", "public", active("docker", cards, "docker0")); // a bridge without hardware
        answerIs("0\n", "public", active("trusted", cards, "br0"));    // one with hardware
        answerIs("0\n", "public", active("trusted", "sources", "10.0.0.0/8"));
        answerIs("zone lan lets in is not known", "public", active("lan", cards, "eth0"));
        answerIs("firewalld runs and does not answer", {}, {});
        // Whoever reads one makes the person's desktop ask for an administrator.
        QCOMPARE(objects.properties, 0);
    }

    void realmdOnTheBus() {
        build("unit sssd\nfile /proc/sys/kernel/hostname mb-1234\\n\n");
        const FakeSystemBus bus(m_machine->path());
        FakeObjects objects;
        bus.serve(&objects, "org.freedesktop.realmd");
        const QString realm = "/org/freedesktop/realmd/Sssd/corp_example";
        objects.answers["/org/freedesktop/realmd Realms"] =
            QVariant::fromValue(QList<QDBusObjectPath>{QDBusObjectPath(realm)});
        objects.answers[realm + " Name"] = "corp.example";
        const auto answerIs = [&](const QString& configured, const QString& software, const QString& answer) {
            objects.answers[realm + " Configured"] = configured;
            objects.answers[realm + " Details"] =
                QVariant::fromValue(QList<Pair>{{"client-software", "sssd"}, {"server-software", software}});
            HostPack::check(run({"dsconfigad", "-show"}), answer);
        };
        const QString member = "org.freedesktop.realmd.KerberosMembership";
        answerIs(member, "active-directory",
            "Active Directory Domain          = corp.example\nComputer Account                 = MB-1234$\n");
        answerIs({}, "active-directory", {}); // only found
        answerIs(member, "ipa", {});
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
        const QString corp = "OriginalNodeName: /Active Directory/CORP/corp.example\n";
        const auto with = [&joined](
                              const QString& name) { return QString(joined).replace("NAME=lisi", "NAME=" + name); };
        row("user of the domain", node("lisi"), joined, corp);
        row("user of the domain, with its name", node("lisi@corp.example"), joined, corp);
        row("user of the domain, with its short name", node("CORP\\lisi"), joined, corp);
        row("user known with the domain's name", node("lisi"), with("lisi@corp.example"), corp);
        row("user known with the short name", node("ursula"), with("'CORP\\\\ursula'"), corp);
        row("user of this computer named like one of the domain", node("anna"), with("anna@corp.example"), noKey);
        row("that user with the domain's name", node("anna@corp.example"), with("anna@corp.example"), corp);
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
        row("user of a domain at the seat", last, session.arg("'CORP\\\\ursula'", "user"), "ursula\n");
        row("the other form", last, session.arg("lisi@corp.example", "user"), "lisi\n");
        row("user of a domain named like one of this computer", last,
            session.arg("anna@corp.example", "user") + "file /etc/passwd anna:x:1000:1000::/home/anna:/bin/sh\\n\n",
            "anna@corp.example\n");
        row("nobody at the seat", last, session.arg("gdm", "greeter"), "does not exist");
        const QStringList name{"scutil", "--get", "ComputerName"};
        row("name for people", name,
            "file /etc/machine-info PRETTY_HOSTNAME=\"Anna's 电脑\"\\n\nfile /etc/hostname mb-1\\n\n", "Anna's 电脑\n");
        row("name of the host below a comment", name, "file /etc/hostname # ours\\n\\nmb-2\\n\n", "mb-2\n");
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

        for (const char* tool : {"defaults", "dsconfigad", "dscl", "fdesetup", "networksetup", "open", "scutil"})
            row(tool, {tool, "write", "something", "else", "now"}, "", "answers only to");
    }
    void others() {
        QFETCH(QStringList, command);
        QFETCH(QString, machine);
        QFETCH(QString, answer);
        build(machine);
        HostPack::check(run(command), answer);
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
        const auto row = [](const char* name, const QByteArray& file, const QString& key, const QString& answer) {
            QTest::newRow(name) << file << key << answer;
        };
        row("text", binary, "version", "2.10\n");
        row("text of the other form", Platform::PropertyList::xmlData(root), "version", "2.10\n");
        row("list", binary, "名", "(\n    \"\\U5f20 \\U4e09\",\n    7,\n    1\n)\n");
        row("date", binary, "at", "2001-01-01 00:00:00 +0000\n");
        row("all", binary, {},
            "{\n    at = \"2001-01-01 00:00:00 +0000\";\n"
            "    bytes = {length = 5, bytes = 0x01020304 05};\n    version = 2.10;\n"
            "    \"\\U540d\" = (\n        \"\\U5f20 \\U4e09\",\n        7,\n        1\n    );\n}\n");
        row("no such key", binary, "x", "does not exist");
        row("cut off", binary.chopped(9), "version", "is no property list");
        row("empty", "", "version", "is no property list");
        row("foreign bytes", "\xff\xfe<plist>", "version", "is no property list");
        row("huge", QByteArray(9 << 20, ' '), "version", "cannot be read");
    }
    void propertyLists() {
        QFETCH(QByteArray, file);
        QFETCH(QString, key);
        QFETCH(QString, answer);
        QVERIFY(fixture().write("/信息.plist", file));
        for (const char* name : {"信息.plist", "信息"}) {
            QStringList command{"defaults", "read", m_machine->filePath(name)};
            if (!key.isNull())
                command.append(key);
            HostPack::check(run(command), answer);
        }
    }

    void openStartsProgramsApart() {
        const QString noted = m_machine->filePath("noted");
        const QString script =
            "#!/bin/sh\nprintf '%s|%s|%s' \"$1\" \"$2\" \"$LC_ALL\" >%1.new\nmv %1.new %1\nsleep 1\n";
        QVERIFY(fixture().write("/X.app/Contents/MacOS/X", QString(script).replace("%1", noted).toUtf8(), true));
        QVERIFY(::chmod(QFile::encodeName(m_machine->path()).constData(), 0777) == 0);
        const auto opened = [&](const QString& name, const QStringList& arguments) {
            return run(QStringList{"open", "-a", m_machine->filePath(name)} + arguments);
        };
        const auto noteIs = [&](const QByteArray& note) {
            QTRY_VERIFY(QFile::exists(noted));
            QFile file(noted);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), note);
            QVERIFY(file.remove());
        };
        HostPack::check(opened("X.app/Contents/MacOS/X", {"a b", "$c"}), {});
        noteIs("a b|$c|");
        HostPack::check(opened("X.app", {"x"}), {});
        noteIs("x||");
        HostPack::check(opened("Y.app", {}), "cannot start ");
        HostPack::check(run({"open"}), "answers only to");
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
        // Cut off in the middle of a record.
        QVERIFY(fixture().write("/var/log/wtmp", log + log.left(100)));
        const QStringList command{"defaults", "read", "/Library/Preferences/com.apple.loginwindow", "lastUserName"};
        QCOMPARE(run(command).output, QString("anna\n"));
        QVERIFY(fixture().write("/var/log/wtmp", log.left(100)));
        QCOMPARE(run(command).output, QString());
    }

    void rootAsOption() {
        const QString machine = u"disk sda 8:0\nmount 8:0 / ext4 /dev/sda\n"_s;
        build(machine);
        QCOMPARE(
            m_pack.run("/nonexistent", {"mav-hosttools", "--root", m_machine->path(), "fdesetup", "status"}).output,
            Off);
        for (const QStringList& command :
            {QStringList{"mav-hosttools", "fdesetup"}, {"mav-hosttools"}, {"mav-hosttools", "reason", "weather"}})
            QCOMPARE(run(command).status, 64);
    }

    void thisMachineAgreesWithItsListOfDevices() {
        const QString lsblk = QStandardPaths::findExecutable("lsblk");
        const QString findmnt = QStandardPaths::findExecutable("findmnt");
        QVERIFY(!lsblk.isEmpty() && !findmnt.isEmpty());
        const QByteArray source = outputOf(findmnt, {"-nvo", "SOURCE", "/"}).trimmed();
        const QByteArray types = source.startsWith("/dev/") ? outputOf(lsblk, {"-sno", "TYPE", source}) : QByteArray();
        const HostPack::Result result = m_pack.run(QString(), {"fdesetup", "status"});
        if (types.trimmed().isEmpty())
            QVERIFY(result.output.isEmpty() || result.output == On || result.output == Off);
        else if (!types.contains("crypt"))
            QCOMPARE(result.output, Off);
        else
            QVERIFY(result.output != Off || types.count("disk") > 1);
    }

private:
    static QByteArray outputOf(const QString& program, const QStringList& arguments) {
        QProcess process;
        process.start(program, arguments);
        process.waitForFinished(10000);
        return process.readAllStandardOutput();
    }
};

QTEST_GUILESS_MAIN(tst_HostTools)
#include "tst_HostTools.moc"
