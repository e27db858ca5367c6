#include "ArchiveStore.h"
#include "VpnComponent.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <future>

using namespace Qt::StringLiterals;

using Platform::ArchiveValue;

namespace {

constexpr int limitMs = 20000;

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The agent in a folder of its own.
class World {
public:
    /// @param settings  the agent's JSON file; null: there is none
    explicit World(const QByteArray& settings = {}) {
        agent.setProcessChannelMode(QProcess::MergedChannels);
        if (!settings.isNull())
            edit(settings);
    }
    ~World() { stop(); }

    QString file(const QString& name) const { return m_folder.filePath(name); }
    QString state(const QString& name) const { return file(u"root/Library/Application Support/QenCloud/"_s + name); }
    QString vpn() const { return file(u"root/Applications/Mav/Mav.app/Contents/GWD/ZelVPN"_s); }
    QString service() const { return file(u"services/com.qencloud.mav.TicketService.service"_s); }
    /// Replaces the agent's file, as an editor does, and does not write in place.
    void edit(const QByteArray& settings) const {
        QFile edited(file(u"agent.json~"_s));
        QVERIFY(edited.open(QIODevice::WriteOnly) && edited.write(settings) == settings.size());
        edited.close();
        QCOMPARE(std::rename(qPrintable(edited.fileName()), qPrintable(file(u"agent.json"_s))), 0);
    }
    /// Writes what the client writes in its user's folder.
    bool writeAsClient(const QString& name, const ArchiveValue& value) const {
        const QString folder = file(u"home/Library/Application Support/QenCloudL"_s);
        return QDir().mkpath(folder) && archiveRootObject(value, folder + u'/' + name);
    }

    bool start() {
        agent.start(QStringLiteral(MAV_REFERENCE_AGENT),
            {u"--root"_s, file(u"root"_s), u"--home"_s, file(u"home"_s), u"--file"_s, file(u"agent.json"_s),
                u"--services"_s, QFileInfo(service()).path()});
        return !waitFor("ready\n").isEmpty();
    }
    bool stop() {
        agent.terminate();
        if (agent.state() == QProcess::NotRunning || agent.waitForFinished(limitMs))
            return agent.exitStatus() == QProcess::NormalExit && agent.exitCode() == 0;
        agent.kill();
        agent.waitForFinished(limitMs);
        return false;
    }
    /// All that the agent printed and complained of since the last wait, once @p text and the end of its line are in
    /// it; else empty.
    QByteArray waitFor(const QByteArray& text) {
        QByteArray output;
        QElapsedTimer waited;
        waited.start();
        while (!(output.contains(text) && output.endsWith('\n'))) {
            if (waited.elapsed() > limitMs || agent.state() == QProcess::NotRunning)
                return {};
            agent.waitForReadyRead(100);
            output += agent.readAllStandardOutput();
        }
        return output;
    }
    QProcess agent;

private:
    QTemporaryDir m_folder;
};

/// What the agent's interface said to an access and to two stops with what that gave; a failure is -1.
QList<int> accessAndStop(VindorClient& client) {
    const auto accessed = std::make_shared<std::promise<int>>();
    client.startRequestAccess([accessed](int status) { accessed->set_value(status); });
    QList<int> codes{accessed->get_future().get()};
    for (int i = 0; i < 2; ++i) {
        const auto stopped = std::make_shared<std::promise<int>>();
        client.stopSmartAgent([stopped](const QJsonObject& answer, const Platform::Error& error) {
            stopped->set_value(error ? -1 : answer.value(u"code"_s).toInt(-2));
        });
        codes << stopped->get_future().get();
    }
    return codes;
}

} // namespace

/// The agent beside the client's own ends of its links.
class tst_ReferenceAgent : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anEditRewritesOnlyWhatChanged() {
        World world(R"({"complianceInfo": {"access": {"firewall": "1"}}, "tips": "旧", "restart": "x"})");
        QFile picture(world.file(u"mark.png"_s));
        QVERIFY(picture.open(QIODevice::WriteOnly) && picture.write("picture") == 7);
        picture.close();
        QVERIFY(world.start());
        // The client's checks read one of the names and its views the other.
        for (const char* name : {"complianceInfo", "complianceInfo.archive"})
            QVERIFY(unarchiveObjectWithFile(world.state(name))->value(u"access").value(u"firewall").string() == u"1");

        world.edit(R"({"complianceInfo": {"access": {"firewall": "1"}}, "tips": "新", "mark": "mark.png"})");
        QCOMPARE(world.waitFor("wrote c_qen_mark@2x.png\n"),
            QByteArray("wrote tips.txt\nremoved restart.txt\nwrote c_qen_mark@2x.png\n"));
        QCOMPARE(readFile(world.state(u"tips.txt"_s)), QByteArray("新"));
        QCOMPARE(readFile(world.state(u"c_qen_mark@2x.png"_s)), QByteArray("picture"));
        QVERIFY(!QFile::exists(world.state(u"restart.txt"_s)));
    }

    void aFaultyFileChangesNothing() {
        World world(R"({"tips": "good"})");
        QVERIFY(world.start());
        for (const char* text : {R"({"tips": "new")", "[]", R"({"tips": "new", "tip": "x"})", R"({"tips": ["new"]})",
                 R"({"tips": "new", "vpn": "yes"})", R"({"tips": "new", "vindor": {"stop": "no"}})",
                 R"({"tips": "new", "server": [["10.0.0.1", "65536"]]})"}) {
            const QByteArray before = readFile(world.state(u"tips.txt"_s));
            world.edit(text);
            QVERIFY2(world.waitFor("agent.json").count('\n') == 1, text);
            QCOMPARE(readFile(world.state(u"tips.txt"_s)), before);
            // It goes on: the next good file is taken.
            world.edit("{\"tips\": \"" + before + "!\"}");
            QVERIFY2(!world.waitFor("wrote tips.txt\n").isEmpty(), text);
            QCOMPARE(readFile(world.state(u"tips.txt"_s)), before + '!');
        }
    }

    void aTypedAddressBecomesTheServerList_data() {
        QTest::addColumn<QVariantList>("typed");
        QTest::addColumn<int>("port");
        QTest::newRow("pair") << QVariantList{"10.1.2.3", "8080"} << 8080;
        QTest::newRow("empty port") << QVariantList{"10.1.2.3", ""} << 80;
        QTest::newRow("no port") << QVariantList{"10.1.2.3", "99999"} << 0;
        QTest::newRow("no pair") << QVariantList{"10.1.2.3"} << 0;
    }
    void aTypedAddressBecomesTheServerList() {
        QFETCH(QVariantList, typed);
        QFETCH(int, port);
        World world("{}");
        QVERIFY(world.start()); // before any folder of the user exists
        QVERIFY(world.writeAsClient(u"domianorip.archive"_s, pairs(2, typed)));
        if (port == 0) {
            QCOMPARE(world.waitFor("domianorip.archive").count('\n'), 1);
            QVERIFY(!QFile::exists(world.state(u".QenConfig"_s)));
            return;
        }
        QVERIFY(!world.waitFor("wrote .QenConfig\n").isEmpty());
        QVERIFY(unarchiveObjectWithFile(world.state(u".QenConfig"_s)) == pairs(3, {"10.1.2.3", port}));
    }

    void theLaterWordAboutTheServerCounts() {
        World world(R"({"server": [["10.0.0.1", 80]]})");
        QVERIFY(world.start());
        QVERIFY(world.writeAsClient(u"domianorip.archive"_s, pairs(2, {"127.0.0.1", "8080"})));
        QVERIFY(!world.waitFor("wrote .QenConfig\n").isEmpty());
        // A new start does not fall back to the older of the two.
        QVERIFY(world.stop());
        QVERIFY(world.start());
        QVERIFY(unarchiveObjectWithFile(world.state(u".QenConfig"_s)) == pairs(3, {"127.0.0.1", 8080}));
        world.edit(R"({"server": [["10.0.0.9", 80]]})");
        QVERIFY(!world.waitFor("wrote .QenConfig\n").isEmpty());
        QVERIFY(unarchiveObjectWithFile(world.state(u".QenConfig"_s)) == pairs(1, {"10.0.0.9", 80}));
    }

    void accessAndStopAnswerAsTold() {
        World world("{}");
        QVERIFY(world.start());
        QVERIFY(world.writeAsClient(u"userpolicy.archive"_s, u"userPolicyRequest"_s));
        QVERIFY(!world.waitFor("started ZelVPN").isEmpty());
        const QString portFile = world.state(u"vindor.port"_s);
        VindorClient client(portFile);
        QCOMPARE(accessAndStop(client), (QList<int>{0, 0, -1})); // a token is good for one stop
        QVERIFY(!world.waitFor("stopped ZelVPN").isEmpty());
        world.edit(R"({"vindor": {"access": 7}, "tips": "access"})");
        QVERIFY(!world.waitFor("wrote tips.txt").isEmpty());
        QCOMPARE(accessAndStop(client), (QList<int>{7, -1, -1}));
        world.edit(R"({"vindor": {"stop": 3}, "tips": "stop"})");
        QVERIFY(!world.waitFor("wrote tips.txt").isEmpty());
        QCOMPARE(accessAndStop(client), (QList<int>{0, 3, -1}));

        // Ended and started again: the port goes and comes, and the client follows.
        QVERIFY(world.stop());
        QVERIFY(!QFile::exists(portFile));
        QVERIFY(!QFile::exists(world.vpn()));
        QCOMPARE(accessAndStop(client)[0], int(AgentStop::NoAccess));
        QVERIFY(world.start());
        QCOMPARE(accessAndStop(client), (QList<int>{0, 3, -1}));
    }

    void aKilledAgentStartsAgain() {
        World world("{}");
        QVERIFY(world.start());
        world.agent.kill();
        QVERIFY(world.agent.waitForFinished(limitMs));
        QVERIFY(QFile::exists(world.service()));
        QVERIFY(world.start());
        QVERIFY(world.stop());
        QVERIFY(!QFile::exists(world.service()));

        // Another's file stays.
        QFile other(world.service());
        QVERIFY(other.open(QIODevice::WriteOnly) && other.write("[D-BUS Service]\n") > 0);
        other.close();
        QVERIFY(!world.start());
        QCOMPARE(readFile(world.service()), QByteArray("[D-BUS Service]\n"));
    }

    void endsOnSigterm() {
        World world;
        QVERIFY(world.start()); // without its file, which is one complaint and no reason to end
        QVERIFY(world.stop());
    }

private:
    /// The same address and port several times.
    static ArchiveValue pairs(int count, const QVariantList& pair) {
        return ArchiveValue::fromVariant(QVariantList(count, QVariant(pair)));
    }
};

QTEST_GUILESS_MAIN(tst_ReferenceAgent)
#include "tst_ReferenceAgent.moc"
