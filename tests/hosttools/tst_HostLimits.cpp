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
    void rulesThatAreNone() {
        const auto codeIs = [this](const char* code, const QByteArray& nft) {
            QVERIFY(fixture().write(u"/usr/sbin/nft"_s, "#!/bin/sh\n" + nft, true));
            QElapsedTimer clock;
            clock.start();
            const PacketFilters::Answer answer = PacketFilters(Facts(m_machine->path())).find();
            QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
            QVERIFY2(answer.ip.isUnknown() && answer.ip6.isUnknown(), nft.constData());
            QVERIFY2(answer.ip.code == QLatin1StringView(code), nft.constData());
        };
        const auto printed = [](const QByteArray& text) { return "cat <<'END'\n" + text + "\nEND\n"; };
        const QByteArray head = R"({"nftables": [{"metainfo": {"version": "2", "json_schema_version": )";
        const QByteArray drop = R"(1}}, {"chain": {"family": "inet", "table": "t", "name": "c", "type": "filter",
            "hook": "input", "prio": 0, "policy": "drop"}})";
        // A newer schema, no JSON, JSON that is cut off, other JSON, nothing.
        for (const QByteArray& text : {head + "2}}]}", QByteArray("table inet t {\n}"), head + drop,
                 QByteArray(R"({"nftables": []})"), QByteArray()})
            codeIs("firewall.format-unknown", printed(text));
        codeIs("firewall.rules-unclear", printed(head + drop + "]}")); // the table was not listed
        // A statement of a newer nft, and a jump to nowhere.
        for (const char* statement : {R"({"teleport": {"to": "moon"}})", R"({"jump": {"target": "gone"}})"}) {
            const QByteArray rule = R"(1}}, {"table": {"family": "inet", "name": "t"}},
                {"chain": {"family": "inet", "table": "t", "name": "c", "hook": "input", "policy": "drop"}},
                {"rule": {"family": "inet", "table": "t", "chain": "c", "expr": [%1]}}]})";
            codeIs("firewall.rules-unclear", printed(head + QByteArray(rule).replace("%1", statement)));
        }
        for (const char* endless : {"head -c 10485760 /dev/zero | tr '\\0' ' '\n", "exec cat /dev/zero\n"})
            codeIs("firewall.too-many-rules", endless);
        for (const char* failing : {"echo '{}'; exit 1\n", "echo 'Operation not permitted' >&2\n", "kill -9 $$\n"})
            codeIs("firewall.command-failed", failing);
        codeIs("firewall.command-late", "exec sleep 20\n");
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
