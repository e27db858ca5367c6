#include "ITDevice.h"
#include "TestFiles.h"

#include <QTemporaryDir>
#include <QtTest>

#include <array>
#include <thread>

using namespace Qt::StringLiterals;

using Files = QMap<QString, QByteArray>;

namespace {

/// A small system in a folder: files by path, and links for paths that end in "->target".
class Root {
public:
    explicit Root(const Files& files = {}) {
        for (auto file = files.begin(); file != files.end(); ++file)
            write(file.key(), file.value());
    }
    QString path() const { return m_folder.path(); }
    void write(const QString& name, const QByteArray& content) const { put(path() + name, content); }
    /// An interface as sysfs shows it. @p parts are folders in it, or "name->target".
    void addInterface(const QString& name, const QByteArray& address, const QStringList& parts) {
        const QString folder = u"/sys/class/net/"_s + name;
        write(folder + u"/address"_s, address + '\n');
        for (const QString& part : parts) {
            const QStringList link = part.split(u"->"_s);
            if (link.size() == 2)
                QFile::link(link.at(1), path() + folder + u'/' + link.at(0));
            else
                QDir().mkpath(path() + folder + u'/' + part);
        }
    }

private:
    QTemporaryDir m_folder;
};

/// Answers by the last argument of a command and remembers what was run.
struct Commands {
    QMap<QString, QString> answers;
    QStringList run;
    ITDevice::CommandRunner runner() {
        return [this](const QString& path, const QStringList& arguments) {
            run.append(path + u' ' + arguments.join(u' '));
            return answers.value(arguments.last());
        };
    }
};

} // namespace

class TestITDevice : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void names_data() {
        QTest::addColumn<Files>("files");
        QTest::addColumn<QStringList>("expected"); // osName, osVersion, machineName, modelName, prefix, uuid
        QTest::newRow("nothing") << Files{} << QStringList{"Mac OS X unknow", "unknow", "unknow", "", "MC", ""};
        QTest::newRow("everything") << Files{{"/etc/os-release",
                                                 "# a comment\nNAME=\"Debian \\\"GNU\\\"/Linux\"\nVERSION_ID='12'\n"},
                                           {"/etc/machine-info", "PRETTY_HOSTNAME=\"Lena's Laptop\"\n"},
                                           {"/etc/hostname", "lena\n"},
                                           {"/sys/class/dmi/id/product_name", "MacBookPro16,1\n"},
                                           {"/etc/machine-id", "0123456789abcdef0123456789abcdef\n"},
                                           {"/sys/class/dmi/id/product_uuid", "11111111-1111-1111-1111-111111111111\n"}}
                                    << QStringList{"Debian \"GNU\"/Linux 12", "12", "Lena's Laptop", "MacBookPro16,1",
                                           "MB", "01234567-89AB-CDEF-0123-456789ABCDEF"};
        QTest::newRow("second sources")
            << Files{{"/usr/lib/os-release", "NAME=Arch\n"}, {"/etc/machine-info", "PRETTY_HOSTNAME=\n"},
                   {"/etc/hostname", "# static name\n\n  kiosk\n"}, {"/proc/sys/kernel/hostname", "transient\n"},
                   {"/sys/firmware/devicetree/base/model", QByteArray("MACMINI board\0", 14)},
                   {"/etc/machine-id", "uninitialized\n"},
                   {"/sys/class/dmi/id/product_uuid", "4c4c4544-0042-3510-8052-b4c04f564433\n"}}
            << QStringList{
                   "Arch unknow", "unknow", "kiosk", "MACMINI board", "MB", "4C4C4544-0042-3510-8052-B4C04F564433"};
    }
    void names() {
        QFETCH(Files, files);
        const Root root(files);
        ITDevice device(root.path());
        const QStringList found{device.osName(), device.osVersion(), device.machineName(), device.modelName(),
            device.machinePrefixName(), device.uuid()};
        QTEST(found, "expected");
        QCOMPARE(device.operationSystemName(), found.at(0));
    }

    void keepsWhatItHasRead() {
        Root root;
        ITDevice device(root.path());
        QCOMPARE(device.uuid(), QString());
        QCOMPARE(device.osName(), "Mac OS X unknow");
        root.write("/etc/machine-id", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\n");
        root.write("/etc/os-release", "NAME=New\nVERSION_ID=1\n");
        QCOMPARE(device.uuid().left(8), "AAAAAAAA"); // an empty identifier is not kept
        QCOMPARE(device.osName(), "Mac OS X unknow");
        root.write("/etc/machine-id", "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb\n");
        QCOMPARE(device.uuid().left(8), "AAAAAAAA");
    }

    void machineNameFollowsItsFiles() {
        Root root;
        ITDevice device(root.path());
        const QString kernel = "/proc/sys/kernel/hostname"; // has no file that changes
        const std::array<QString, 3> changes[]{{kernel, "one", "one"}, {kernel, "two", "two"},
            {"/etc/hostname", "three", "three"}, {"/etc/hostname", "another", "another"},
            {"/etc/machine-info", "PRETTY_HOSTNAME=Five", "Five"}};
        for (const auto& [file, content, name] : changes) {
            root.write(file, content.toUtf8() + '\n');
            QCOMPARE(device.machineName(), name);
        }
        QVERIFY(QFile::remove(root.path() + "/etc/machine-info"));
        QCOMPARE(device.machineName(), "another");
    }

    void userName() {
        Commands commands;
        const auto name = [&commands](const Files& files, uint user = 0) {
            const Root root(files);
            return ITDevice(root.path(), {.run = commands.runner(), .user = user}).userName();
        };
        const QByteArray account = "me:x:0:0:My Name,,,:/home/me:/bin/sh\nsys:x:999:9::/:/bin/sh\n"
                                   "remote:x:4712:9::/:/bin/sh\nnobody:x:65534:9::/:/bin/sh\n";
        const Files aliceAtTheSeat{{"/etc/passwd", account},
            {"/run/systemd/seats/seat0", "IS_SEAT0=1\nACTIVE=c2\nACTIVE_UID=1001\n"},
            {"/run/systemd/sessions/c2", "UID=1001\nUSER=alice\nSEAT=seat0\nCLASS=user\nACTIVE=1\n"}};
        QCOMPARE(name(aliceAtTheSeat, 999), "alice"); // asked by a system account
        QCOMPARE(name(aliceAtTheSeat, 65534), "alice");
        QCOMPARE(name(aliceAtTheSeat, 4712), "remote"); // by a person
        QCOMPARE(name(aliceAtTheSeat, 4000), "alice");  // by one without an account here
        // Sessions without a seat file.
        QCOMPARE(name({{"/etc/passwd", account + "bob:x:4711:0::/home/bob:/bin/sh\n"},
                     {"/run/systemd/sessions/1", "UID=7\nUSER=remote\nACTIVE=1\n"},
                     {"/run/systemd/sessions/2", "UID=4711\nSEAT=seat0\nCLASS=user\nACTIVE=1\n"}}),
            "bob");
        QCOMPARE(name({{"/etc/passwd", account}, {"/run/systemd/seats/seat0", "ACTIVE=c1\n"},
                     {"/run/systemd/sessions/c1", "USER=gdm\nCLASS=greeter\nACTIVE=1\n"}}),
            "me");
        QVERIFY(commands.run.isEmpty());
        QCOMPARE(name({}), "unknow");
        QCOMPARE(commands.run,
            QStringList{"/usr/bin/defaults read /Library/Preferences/com.apple.loginwindow.plist lastUserName"});
        commands.answers = {{"lastUserName", "carol\n"}};
        QCOMPARE(name({}), "carol");
    }

    void domainName() {
        Commands commands;
        const auto name = [&commands](const char* model, const char* account, const char* computer) {
            const Root root({{"/sys/class/dmi/id/product_name", model}});
            commands.answers = {{"dsconfigad -show | grep 'Computer Account' | awk '{print $4}'", account},
                {"/usr/sbin/scutil --get ComputerName", computer}};
            return ITDevice(root.path(), {.run = commands.runner()}).getADDomainName();
        };
        QCOMPARE(name("MacBookAir7,2", "mb-1234$\n", "x"), "MB-1234");
        QVERIFY(commands.run.constFirst().startsWith("/bin/sh -c dsconfigad"));
        QCOMPARE(name("iMac19,1", "MB-1234$\n", "Desk 3\n"), "Desk 3"); // an account of another kind of computer
        QCOMPARE(name("MacBookAir7,2", "", "Lena's\n"), "Lena's");
        QCOMPARE(name("", "", ""), "");
    }

    void interfaces() {
        Root root({{"/sys/class/net/wlan0/ifindex", "3\n"},
            {"/run/NetworkManager/devices/3", "[device]\nmanaged=managed\nconnection-uuid=u-1\n"},
            {"/etc/NetworkManager/system-connections/Office.nmconnection",
                "[connection]\nid=Office Wi-Fi\nuuid=u-1\n[wifi]\nid=no\n"}});
        root.addInterface("eth0", "02:fc:00:00:00:0a", {"device"});
        root.addInterface("wlan0", "aa:bb:cc:dd:ee:ff", {"device", "wireless"});
        root.addInterface("six0", "02:00:00:00:00:06", {"device"});
        root.addInterface("port0", "02:00:00:00:00:08", {"device", "master->../br0"});
        root.addInterface("br0", "02:00:00:00:00:08", {"bridge", "lower_port0->../port0"});
        root.addInterface("docker0", "02:42:00:00:00:01", {"bridge", "lower_veth1->../veth1"});
        root.addInterface("veth1", "02:42:00:00:00:02", {"master->../docker0"});
        root.addInterface("tun0", "", {});
        root.addInterface("zero0", "00:00:00:00:00:00", {"device"});
        root.addInterface("ib0", "80:00:02:08:fe:80:00:00:00:00:00:00:e4:1d:2d:03:00:1c:3a:01", {"device"});
        int asked = 0;
        QMap<QString, QString> answer{{"wlan0", "10.0.0.7"}, {"eth0", "192.168.1.5"}, {"six0", "0.0.0.0"},
            {"port0", "0.0.0.0"}, {"br0", "172.20.0.1"}, {"docker0", "172.17.0.1"}, {"veth1", "0.0.0.0"},
            {"tun0", "10.8.0.2"}, {"zero0", "0.0.0.0"}, {"ib0", "10.9.0.1"}, {"../eth0", "9.9.9.9"}};
        const auto listed = [&] {
            ++asked;
            return answer;
        };
        ITDevice device(root.path(), {.listAddresses = listed});
        QCOMPARE(device.macAddresses(), (QStringList{"020000000008", "02FC0000000A", "020000000006", "AABBCCDDEEFF"}));
        QCOMPARE(device.ipArray(), (QStringList{"172.20.0.1", "192.168.1.5", "0.0.0.0", "10.0.0.7"}));
        QCOMPARE(device.networkInfos().value("wlan0"),
            (DeviceInterface{{"MacAddress", "AABBCCDDEEFF"}, {"HardwarePort", "Wi-Fi"}, {"service", "Office Wi-Fi"},
                {"Device", "wlan0"}, {"ServiceID", "u-1"}, {"ip", "10.0.0.7"}}));
        QCOMPARE(device.networkInfos().value("eth0").value("service"), "eth0");
        QVERIFY(device.getNetworkMacAddress("docker0").isEmpty());
        answer.clear();
        QCOMPARE(device.ipArray().size(), 4); // filled once
        device.getMacAndIPAddr();             // asked for, and failing: an empty table from now on
        QCOMPARE(device.ipArray().size() + device.macAddresses().size(), 0);
        QCOMPARE(asked, 2);
    }

    void hardwarePorts() {
        const QString listing =
            "\nHardware Port: Ethernet\nDevice: en0\nEthernet Address: ac:de:48:00:11:22\n\n"
            "Hardware Port: Wi-Fi\nDevice: en1\nEthernet Address: N/A\n\n"
            "Hardware Port: Thunderbolt Bridge\nDevice: bridge0\n\nHardware Port: Bluetooth PAN\nDevice: en3\n\n"
            "VLAN Configurations\n===================\n";
        const QString order = "An asterisk (*) denotes that a network service is disabled.\n"
                              "(1) Lena's Wire (2)\n(Hardware Port: Ethernet, Device: en0)\n\n"
                              "(*) Air\n(Hardware Port: Wi-Fi, Device: en1)\n";
        Commands commands{{{"-listallhardwareports", listing}, {"-listnetworkserviceorder", order},
                              {R"(/usr/sbin/networksetup -getinfo 'Lena'\''s Wire (2)' | grep '^IP address:')",
                                  "IP address: 10.1.2.3\n"}},
            {}};
        ITDevice device("/nowhere", {.run = commands.runner()});
        QList<HardwarePort> ports;
        device.listNetworkServices([&](const QList<HardwarePort>& found) { ports = found; });
        const HardwarePort wire{{"HardwarePort", "Ethernet"}, {"Device", "en0"}, {"MacAddress", "ACDE48001122"},
            {"service", "Lena's Wire (2)"}};
        QCOMPARE(ports.size(), 2);
        QCOMPARE(ports.at(0), wire);
        QCOMPARE(ports.at(1).value("service"), "(*) Air");
        const QList<HardwarePort> updated = device.getHardwareportsIP(ports);
        QCOMPARE(updated.at(0).value("ip"), "10.1.2.3");
        QCOMPARE(updated.at(1).value("ip"), "0.0.0.0");
        QCOMPARE(device.hardwareports(), updated);
    }

    void serials() {
        QByteArray module("\x11\x1b",
            2); // a memory module of the shortest form that has a serial number, the second string
        module += QByteArray(0x16, '\0') + '\x02' + QByteArray(2, '\0') + QByteArray("Maker\0 5A6B \0\0", 15);
        Root root({{"/sys/class/dmi/id/board_serial", "BSN-1\n"}, {"/sys/firmware/dmi/entries/17-0/raw", module},
            {"/sys/firmware/dmi/entries/17-1/raw", module.left(20)}, {"/sys/block/nvme0n1/device/serial", "  S4EV  \n"},
            {"/sys/block/sda/device/model", "disk"}, {"/sys/block/sda/dev", "8:0\n"},
            {"/run/udev/data/b8:0", "S:disk\nE:ID_SERIAL_SHORT=WD-1\n"},
            {"/sys/block/sdb/device/vpd_pg80", QByteArray("\0\x80\0\x06 Z-99 ", 10)},
            {"/sys/block/sdc/device/serial", "STICK"}, {"/sys/block/sdc/removable", "1\n"},
            {"/sys/block/dm-0/serial", "LAYER"}});
        const ITDevice device(root.path());
        QCOMPARE(device.boardSerialNums(), QStringList{"BSN-1"});
        QCOMPARE(device.memorySerialNums(), QStringList{"5A6B"});
        QCOMPARE(device.hardDiskSerialNums(), (QStringList{"S4EV", "WD-1", "Z-99"}));
        const ITDevice bare("/nowhere");
        QCOMPARE(bare.boardSerialNums() + bare.memorySerialNums() + bare.hardDiskSerialNums(), QStringList{});
        // An old, shorter entry: what stands in the number's place belongs to its strings.
        const QString first = "/sys/firmware/dmi/entries/17-0/raw";
        root.write(first, "\x11\x15" + QByteArray(0x13, '\0') + QByteArray("abc\x01\0\0", 6));
        QCOMPARE(device.memorySerialNums(), QStringList{});
        // Cut short anywhere: a serial number whole or none.
        for (qsizetype length = 0; length < module.size() - 2; ++length) {
            root.write(first, module.left(length));
            QCOMPARE(device.memorySerialNums(), QStringList{});
        }
    }

    void kernelTexts() {
        const Root root({{"/proc/sys/kernel/ostype", "Linux\n"}});
        const ITDevice device(root.path());
        QCOMPARE(device.systemInfoString("kernel.ostype"), "Linux");
        QTest::ignoreMessage(
            QtInfoMsg, QRegularExpression("sysctlbyname\\(\\.\\./\\.\\./etc/passwd\\) failed: No such"));
        QCOMPARE(device.systemInfoString("../../etc/passwd"), "unkown name");
    }

    void programs() {
        const QByteArray status = "Package: other\nStatus: install ok installed\nMaintainer: x\nArchitecture: all\n"
                                  "Version: 9\nDescription: d\n\nPackage: tool\nStatus: install ok installed\n"
                                  "Maintainer: The Team <t@example.org>\nArchitecture: all\nVersion: 1:2.0-1\n"
                                  "Description: d\n";
        const Root root(
            {{"/Applications/Some.app/Contents/Info.plist",
                 "<plist "
                 "version=\"1.0\"><dict><key>CFBundleShortVersionString</key><string>3.2.1</string></dict></plist>"},
                {"/Applications/Broken.app/Contents/Info.plist", "<plist><dict>"}, {"/var/lib/dpkg/status", status},
                {"/var/lib/dpkg/info/other.list", "/.\n/opt/x/too\n"},
                {"/var/lib/dpkg/info/tool.list", "/.\n/bin\n/bin/tool\n/opt/a [x]*\n"}});
        const ITDevice device(root.path());
        const QString bundles = root.path() + "/Applications/";
        QCOMPARE(device.getAppVersionWithPath(bundles + "Some.app/Contents/MacOS/Some"), "3.2.1");
        QCOMPARE(device.getAppVersionWithPath(bundles + "Broken.app/Contents/MacOS/Broken"), "");
        QCOMPARE(device.getAppVersionWithPath("/usr/bin/tool"), "1:2.0-1");
        QCOMPARE(device.getAppVersionWithPath("/opt/a [x]*"), "1:2.0-1");
        for (const char* none : {"/usr/bin/too", "/usr/bin/*", "tool", "", "-W", "$(echo /bin/tool)"})
            QCOMPARE(device.getAppVersionWithPath(QString::fromLatin1(none)), "");
        QCOMPARE(device.getProcessSign("/usr/bin/tool"),
            (QVariantMap{
                {"signatureStatus", -67068}, {"signingAuthorities", QStringList{"The Team <t@example.org>"}}}));
        QCOMPARE(device.getProcessSign(QCoreApplication::applicationFilePath()),
            (QVariantMap{{"signatureStatus", -67062}, {"signingAuthorities", QStringList{"unknown"}}}));
        QCOMPARE(ITDevice().pathFromPid(QCoreApplication::applicationPid()), QCoreApplication::applicationFilePath());
        QCOMPARE(ITDevice().pathFromPid(-1), "");
    }

    void anyThreadMayAsk() {
        // Of the running system, whatever that is: the same answer for everybody.
        ITDevice device;
        const auto ask = [&device] {
            device.getMacAndIPAddr();
            return device.macAddresses() + device.ipArray() + QStringList{device.uuid(), device.osName()};
        };
        const QStringList expected = ask();
        std::atomic<int> same{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] { same += ask() == expected; });
        for (std::thread& thread : threads)
            thread.join();
        QCOMPARE(same.load(), 4);
    }
};

QTEST_GUILESS_MAIN(TestITDevice)
#include "tst_ITDevice.moc"
