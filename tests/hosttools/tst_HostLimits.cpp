#include "MachineTest.h"
#include "NetworkService.h"
#include "PacketFilters.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

/// Facts that are none, too many, or change while they are read: each ends in an answer that is not wrong, in bounded
/// time.
class tst_HostLimits : public MachineTest {
    Q_OBJECT

private Q_SLOTS:
    void rulesThatAreNone_data() {
        QTest::addColumn<QByteArray>("nft");
        QTest::addColumn<QString>("code");
        const QByteArray head = R"({"nftables": [{"metainfo": {"version": "2", "json_schema_version": )";
        const QByteArray drop = R"(1}}, {"chain": {"family": "inet", "table": "t", "name": "c", "type": "filter",
            "hook": "input", "prio": 0, "policy": "drop"}})";
        const auto row = [](const char* name, const QByteArray& printed, const char* code) {
            QTest::newRow(name) << "cat <<'END'\n" + printed + "\nEND\n" << QString::fromLatin1(code);
        };
        row("newer schema", head + "2}}]}", "firewall.format-unknown");
        row("no JSON", "table inet t {\n}", "firewall.format-unknown");
        row("JSON cut off", head + drop, "firewall.format-unknown");
        row("other JSON", R"({"nftables": []})", "firewall.format-unknown");
        row("nothing", "", "firewall.format-unknown");
        row("a table that was not listed", head + drop + "]}", "firewall.rules-unclear");
        const QByteArray rule = head + "1}}, " + R"({"table": {"family": "inet", "name": "t"}},
            {"chain": {"family": "inet", "table": "t", "name": "c", "hook": "input", "policy": "drop"}},
            {"rule": {"family": "inet", "table": "t", "chain": "c", "expr": [%1]}}]})";
        row("statements of a newer nft", QByteArray(rule).replace("%1", R"({"teleport": {"to": "moon"}})"),
            "firewall.rules-unclear");
        row("a jump to nowhere", QByteArray(rule).replace("%1", R"({"jump": {"target": "gone"}})"),
            "firewall.rules-unclear");
        QTest::newRow("ten megabytes") << QByteArray("head -c 10485760 /dev/zero | tr '\\0' ' '\n")
                                       << u"firewall.too-many-rules"_s;
        QTest::newRow("without an end") << QByteArray("exec cat /dev/zero\n") << u"firewall.too-many-rules"_s;
        QTest::newRow("without a beginning") << QByteArray("exec sleep 20\n") << u"firewall.command-late"_s;
        QTest::newRow("a failure") << QByteArray("echo '{}'; exit 1\n") << u"firewall.command-failed"_s;
        QTest::newRow("a complaint") << QByteArray("echo 'Operation not permitted' >&2\n")
                                     << u"firewall.command-failed"_s;
        QTest::newRow("a crash") << QByteArray("kill -9 $$\n") << u"firewall.command-failed"_s;
    }
    void rulesThatAreNone() {
        QFETCH(QByteArray, nft);
        QFETCH(QString, code);
        QVERIFY(fixture().write(u"/usr/sbin/nft"_s, "#!/bin/sh\n" + nft, true));
        QElapsedTimer clock;
        clock.start();
        const PacketFilters::Answer answer = PacketFilters(Facts(m_machine->path())).find();
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(answer.ip.isUnknown() && answer.ip6.isUnknown());
        QCOMPARE(answer.ip.code, code);
    }

    void manyMounts() {
        QString machine =
            u"disk sda 8:0\nmapped dm-0 253:0 CRYPT-LUKS2-0f-root root sda\nmount 253:0 / ext4 /dev/dm-0\n"_s;
        for (int i = 0; i < 4096; ++i)
            machine +=
                u"mount 253:0 /srv/%1 ext4 /dev/dm-0\nmount 0:77 /var/o/%1 overlay o upperdir=/var/o/%2/x\n"_s.arg(i)
                    .arg(i + 1);
        build(machine);
        QElapsedTimer clock;
        clock.start();
        const HostPack::Result result = run({u"fdesetup"_s, u"status"_s});
        QVERIFY2(clock.elapsed() < 2500, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(result.output, u"FileVault is On.\n"_s);
    }

    /// A stack of devices that comes and goes: whatever half of it is seen, it is never taken for encrypted.
    void devicesThatChange() {
        const QString machine = u"disk sda 8:0\nmapped dm-0 253:0 LVM-ab root sda\nmount 253:0 / ext4 /dev/dm-0\n"_s;
        build(machine);
        const QString layer = m_machine->filePath(u"sys/devices/virtual/block/dm-0"_s);
        for (int i = 0; i < 20; ++i) {
            QTimer away(this);
            away.callOnTimeout([&layer] {
                if (!QFile::rename(layer, layer + u".away"_s))
                    QFile::rename(layer + u".away"_s, layer);
            });
            away.start(1);
            const HostPack::Result result = run({u"fdesetup"_s, u"status"_s});
            QVERIFY(result.output == u"FileVault is Off.\n" || (result.output.isEmpty() && result.status == 1));
        }
    }

    /// An address that goes with the network is not the one of the hardware.
    void addressesThatChange() {
        const QString own = u"a4:11:22:33:44:55"_s;
        const QString present = u"02:fc:00:00:00:0a"_s;
        for (const QStringList& one : {QStringList{own, present, own}, {QString(), present.toUpper(), present},
                 {QString(), u"00:00:00:00:00:00"_s, QString()}}) {
            build(u"file /sys/class/net/wlan0/device/x\nfile /sys/class/net/wlan0/address %1\\n\n"_s.arg(one[1]));
            const auto reader = [&one](const QString& device) { return device == u"wlan0" ? one[0] : u"none"_s; };
            QCOMPARE(networkService(Facts(m_machine->path()), u"wlan0"_s, reader).value().address, one[2]);
        }
        for (const char* none : {"", "lo", "no-such-device", "a-name-that-is-too-long"})
            QCOMPARE(permanentAddress(QString::fromLatin1(none)), QString());
    }
};

QTEST_GUILESS_MAIN(tst_HostLimits)
#include "tst_HostLimits.moc"
