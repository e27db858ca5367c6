#include "FakeServices.h"
#include "MachineTest.h"
#include "PacketFilters.h"

#include <QDBusMetaType>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <unistd.h>

/// What the host tools say of made-up machines, beside the truth about them: of machines in machines.txt, and of rule
/// sets that real tools have loaded (rulesets.json), whose truth was found out by knocking.
class tst_Machines : public MachineTest {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        qDBusRegisterMetaType<QMap<QString, QString>>();
        HostPack::makeReadable(m_bus.path());
        m_system.emplace(m_bus.path());
        m_system->serve(&m_service, u"com.qencloud.mav.HostFacts"_s);
    }

    void machine_data() {
        QTest::addColumn<Machine>("machine");
        QString wrong;
        const QList<Machine> machines = readMachines(QFINDTESTDATA("machines/machines.txt"), &wrong);
        QCOMPARE(wrong, QString());
        for (const Machine& machine : machines)
            QTest::newRow(qPrintable(machine.name)) << machine;
    }
    void machine() {
        QFETCH(Machine, machine);
        build(machine.facts);
        if (machine.question == u"domain")
            return checkDomain(machine);
        const QJsonObject reason = judged(machine.truth, machine.question);
        QCOMPARE(reason[u"state"].toString(), machine.answer);
        QCOMPARE(reason[u"code"].toString(), machine.code);
        if (!machine.subject.isEmpty())
            QCOMPARE(reason[u"subject"].toString(), machine.subject);
        checkStated(machine.question, reason);
    }

    void ruleSet_data() {
        QTest::addColumn<QJsonObject>("captured");
        QFile file(QFINDTESTDATA("machines/rulesets.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QJsonArray all = QJsonDocument::fromJson(file.readAll()).array();
        QVERIFY(all.size() > 80);
        for (const QJsonValue& value : all)
            QTest::newRow(qPrintable(value[u"name"].toString())) << value.toObject();
    }
    void ruleSet() {
        QFETCH(QJsonObject, captured);
        putCommands(captured);
        const QMap<QString, QString> texts = PacketFilters(Facts(m_machine->path())).find().texts();
        const QJsonObject truth = captured[u"truth"].toObject();
        for (const QString& family : {u"ip"_s, u"ip6"_s}) {
            const QString expected = captured[u"answer"][family].toString(truth[family].toString());
            QVERIFY2(texts[family] == expected,
                qPrintable(family + u": "_s + texts[family] + u' ' + texts.value(family + u".code"_s) + u' ' +
                    texts.value(family + u".subject"_s)));
        }
        // The same by way of the bus and the tool, as anybody asks.
        m_service.answers[u"PacketFilter"_s] = QVariant::fromValue(texts);
        QVERIFY(fixture().link(u"/run/dbus/system_bus_socket"_s, m_bus.filePath(u"run/dbus/system_bus_socket"_s)));
        QVERIFY(fixture().write(u"/etc/passwd"_s, "mav-facts:x:" + QByteArray::number(::geteuid()) + ":1::/:\n"));
        const bool isRefused = truth[u"ip"] == u"refused"_s && truth[u"ip6"] == u"refused"_s;
        const QJsonObject reason = judged(isRefused ? u"on"_s : u"off"_s, u"firewall"_s);
        const QStringList words{texts[u"ip"_s], texts[u"ip6"_s]};
        QCOMPARE(reason[u"state"].toString(),
            words.contains(u"open"_s)          ? u"off"_s
                : words.contains(u"unknown"_s) ? u"unknown"_s
                                               : u"on"_s);
        checkStated(u"firewall"_s, reason);
    }

    void cleanupTestCase() {
        std::printf("machines judged: %d; unknown: %d; wrong definite answers: %d\n", m_judged, m_unknown, m_wrong);
        QCOMPARE(m_wrong, 0);
        QVERIFY(m_judged > 160 && m_unknown < m_judged / 3);
    }

private:
    /// Counts the answer, right or wrong.
    QJsonObject judged(const QString& truth, const QString& question) {
        const HostPack::Result result = run({u"mav-hosttools"_s, u"reason"_s, question});
        const QJsonObject reason = QJsonDocument::fromJson(result.output.toUtf8()).object();
        const QString state = reason[u"state"].toString();
        ++m_judged;
        m_unknown += state == u"unknown";
        m_wrong += state != u"unknown" && state != truth;
        return reason;
    }

    /// What the checks read says the same, in the form that they read.
    void checkStated(const QString& question, const QJsonObject& reason) const {
        const bool isDisk = question == u"disk";
        const QStringList command = isDisk
            ? QStringList{u"fdesetup"_s, u"status"_s}
            : QStringList{u"defaults"_s, u"read"_s, u"/Library/Preferences/com.apple.alf"_s, u"globalstate"_s};
        const HostPack::Result result = run(command);
        const QString state = reason[u"state"].toString();
        const bool isOn = state == u"on";
        const QString text =
            isDisk ? (isOn ? u"FileVault is On.\n"_s : u"FileVault is Off.\n"_s) : (isOn ? u"1\n"_s : u"0\n"_s);
        QCOMPARE(result.output, state == u"unknown" ? QString() : text);
        QCOMPARE(result.status == 0, state != u"unknown");
        QVERIFY2(result.error.contains(state == u"unknown" ? reason[u"text"].toString() : QString()),
            qPrintable(result.error));
        QCOMPARE(result.error.count(u'\n'), state == u"unknown" ? 1 : 0);
    }

    void checkDomain(const Machine& machine) {
        const QJsonObject reason = judged(machine.truth, u"domain"_s);
        const HostPack::Result result = run({u"dsconfigad"_s, u"-show"_s});
        QCOMPARE(reason[u"state"].toString(), machine.answer);
        const bool isOn = machine.answer == u"on";
        QCOMPARE(reason[u"code"].toString(), isOn ? QString() : machine.code);
        QCOMPARE(reason[u"subject"].toString(), isOn ? machine.code : QString());
        QCOMPARE(result.output,
            isOn ? u"Active Directory Domain          = %1\n"
                   "Computer Account                 = %2$\n"_s.arg(machine.code, machine.subject)
                 : QString());
        QCOMPARE(result.status != 0, machine.answer == u"unknown");
    }

    /// The commands of such a machine print what was captured.
    void putCommands(const QJsonObject& captured) const {
        const auto put = [this](const QString& command, const QByteArray& output) {
            QVERIFY(fixture().write(u"/usr/sbin/"_s + command, "#!/bin/sh\nexec cat \"$0.out\"\n", true));
            QVERIFY(fixture().write(u"/usr/sbin/%1.out"_s.arg(command), output));
        };
        put(u"nft"_s, QJsonDocument(captured[u"nft"].toObject()).toJson());
        for (const QString& family : {u"ip"_s, u"ip6"_s}) {
            for (const QString& kind : {u"nft"_s, u"legacy"_s}) {
                const QString command = family + u"tables-"_s + kind + u"-save"_s;
                QStringList lines;
                for (const QJsonValue& line : captured[command].toArray())
                    lines.append(line.toString());
                if (lines.isEmpty())
                    continue;
                put(command, lines.join(u'\n').toUtf8() + '\n');
                if (kind == u"legacy")
                    QVERIFY(fixture().write(u"/proc/net/%1_tables_names"_s.arg(family), {}));
            }
        }
        QVERIFY(fixture().write(u"/sys/class/net/eth0/device/vendor"_s, {}));
        QVERIFY(fixture().write(u"/sys/class/net/docker0/address"_s, {}));
        QVERIFY(fixture().write(u"/proc/sys/net/ipv6/conf/eth0/disable_ipv6"_s, "0\n"));
    }

    const QTemporaryDir m_bus;
    std::optional<FakeSystemBus> m_system;
    FakeObjects m_service;
    int m_judged = 0;
    int m_unknown = 0;
    int m_wrong = 0;
};

QTEST_GUILESS_MAIN(tst_Machines)
#include "tst_Machines.moc"
