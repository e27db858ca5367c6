#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr int limitMs = 20000;

bool writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Runs the support tool; its output, or no value when it failed.
std::optional<QByteArray> mavctl(const QStringList& arguments, const QByteArray& input = {}) {
    QProcess process;
    process.start(QStringLiteral(MAVCTL), arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool good = process.waitForFinished(limitMs) && process.exitCode() == 0;
    return good ? std::optional(process.readAllStandardOutput()) : std::nullopt;
}

QJsonValue shown(const QString& path) {
    return QJsonDocument::fromJson('[' + mavctl({u"archive"_s, u"show"_s, path}).value_or("?") + ']').array().at(0);
}

QJsonValue parsed(const QByteArray& json) {
    return QJsonDocument::fromJson('[' + json + ']').array().at(0);
}

/// A folder with an agent of its own.
struct World {
    QTemporaryDir folder;
    QProcess agent;

    QString file() const { return folder.filePath(u"agent.json"_s); }
    QString state(const QString& name) const {
        return folder.filePath(u"root/Library/Application Support/QenCloud/"_s + name);
    }
    QString userState(const QString& name) const {
        return folder.filePath(u"home/Library/Application Support/QenCloudL/"_s + name);
    }
    bool start() {
        agent.start(QStringLiteral(MAV_REFERENCE_AGENT),
            {u"--root"_s, folder.filePath(u"root"_s), u"--home"_s, folder.filePath(u"home"_s), u"--file"_s, file()});
        return waitForOutput("ready\n");
    }
    /// Whole lines that the agent printed since the last wait, up to and with @p end.
    bool waitForOutput(const QByteArray& end) {
        QElapsedTimer waited;
        waited.start();
        while (!output.endsWith(end) && waited.elapsed() < limitMs && agent.state() != QProcess::NotRunning) {
            agent.waitForReadyRead(100);
            output += agent.readAllStandardOutput();
        }
        return output.endsWith(end);
    }
    QByteArray takeOutput() { return std::exchange(output, {}); }
    QByteArray waitForComplaint() {
        agent.setReadChannel(QProcess::StandardError);
        QElapsedTimer waited;
        waited.start();
        while (!agent.canReadLine() && waited.elapsed() < limitMs)
            agent.waitForReadyRead(100);
        return agent.readAllStandardError();
    }
    /// Saves an address as the server page does.
    bool typeServer(const QByteArray& pairJson) {
        QDir().mkpath(userState({}));
        return mavctl({u"archive"_s, u"write"_s, userState(u"new"_s)}, '[' + pairJson + ',' + pairJson + ']') &&
            std::rename(qPrintable(userState(u"new"_s)), qPrintable(userState(u"domianorip.archive"_s))) == 0;
    }
    ~World() {
        agent.terminate();
        if (!agent.waitForFinished(limitMs))
            agent.kill();
    }
    QByteArray output;
};

} // namespace

class tst_ReferenceAgent : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void writesEachKeyToItsFiles_data();
    void writesEachKeyToItsFiles();
    void anEditRewritesOnlyWhatChanged();
    void aFaultyFileChangesNothing_data();
    void aFaultyFileChangesNothing();
    void aTypedAddressBecomesTheServerList_data();
    void aTypedAddressBecomesTheServerList();
    void theLaterWordAboutTheServerCounts();
    void endsOnSigterm();
};

void tst_ReferenceAgent::writesEachKeyToItsFiles_data() {
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QStringList>("files");
    QTest::newRow("string") << QByteArray("hideqenswitch") << QByteArray("\"1\"")
                            << QStringList{u"hideqenswitch.archive"_s};
    QTest::newRow("dictionary") << QByteArray("userlogin")
                                << QByteArray(R"({"double_factor_auth": "1", "qrcode_login": 1})")
                                << QStringList{u"userlogin.archive"_s};
    QTest::newRow("list") << QByteArray("appmgrlist") << QByteArray(R"([{"name": "办公"}])")
                          << QStringList{u"appmgrlist.archive"_s};
    QTest::newRow("two names") << QByteArray("complianceInfo") << QByteArray(R"({"access": {"firewall": "1"}})")
                               << QStringList{u"complianceInfo"_s, u"complianceInfo.archive"_s};
    QTest::newRow("servers") << QByteArray("server") << QByteArray(R"([["10.0.0.1", 80], ["10.0.0.2", 81]])")
                             << QStringList{u".QenConfig"_s};
}

void tst_ReferenceAgent::writesEachKeyToItsFiles() {
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, value);
    QFETCH(QStringList, files);
    World world;
    QVERIFY(writeFile(world.file(), "{\"" + key + "\": " + value + "}"));
    QVERIFY(world.start());
    for (const QString& name : files)
        QCOMPARE(shown(world.state(name)), parsed(value));
    QStringList written = QDir(world.state({})).entryList(QDir::Files | QDir::Hidden);
    written.removeOne(u"vindor.port"_s);
    QCOMPARE(written, files);
}

void tst_ReferenceAgent::anEditRewritesOnlyWhatChanged() {
    World world;
    QVERIFY(writeFile(world.folder.filePath(u"mark.png"_s), "picture"));
    QVERIFY(writeFile(world.file(), R"({"hideqenswitch": "0", "tips": "旧", "restart": "x", "switchngn": "1"})"));
    QVERIFY(world.start());
    QCOMPARE(readFile(world.state(u"tips.txt"_s)), QByteArray("旧"));
    world.takeOutput();

    // Replaced, as an editor does, and not written in place.
    const QByteArray edited = R"({"hideqenswitch": "0", "tips": "新", "mark": "mark.png", "switchngn": "1"})";
    QVERIFY(writeFile(world.file() + u'~', edited));
    QCOMPARE(std::rename(qPrintable(world.file() + u'~'), qPrintable(world.file())), 0);
    QVERIFY(world.waitForOutput("wrote c_qen_mark@2x.png\n"));
    QCOMPARE(world.takeOutput(), QByteArray("wrote tips.txt\nremoved restart.txt\nwrote c_qen_mark@2x.png\n"));
    QCOMPARE(readFile(world.state(u"tips.txt"_s)), QByteArray("新"));
    QCOMPARE(readFile(world.state(u"c_qen_mark@2x.png"_s)), QByteArray("picture"));
    QVERIFY(!QFile::exists(world.state(u"restart.txt"_s)));
}

void tst_ReferenceAgent::aFaultyFileChangesNothing_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("half a file") << QByteArray(R"({"tips": "new")");
    QTest::newRow("no object") << QByteArray("[]");
    QTest::newRow("unknown key") << QByteArray(R"({"tips": "new", "tip": "x"})");
    QTest::newRow("text that is none") << QByteArray(R"({"tips": ["new"]})");
    QTest::newRow("word for a flag") << QByteArray(R"({"tips": "new", "vpn": "yes"})");
    QTest::newRow("word for a code") << QByteArray(R"({"tips": "new", "vindor": {"stop": "no"}})");
    QTest::newRow("port out of range") << QByteArray(R"({"tips": "new", "server": [["10.0.0.1", "65536"]]})");
}

void tst_ReferenceAgent::aFaultyFileChangesNothing() {
    QFETCH(QByteArray, text);
    World world;
    QVERIFY(writeFile(world.file(), R"({"tips": "old"})"));
    QVERIFY(world.start());
    world.takeOutput();
    QVERIFY(writeFile(world.file() + u'~', text));
    QCOMPARE(std::rename(qPrintable(world.file() + u'~'), qPrintable(world.file())), 0);
    QCOMPARE(world.waitForComplaint().count('\n'), 1);
    QCOMPARE(readFile(world.state(u"tips.txt"_s)), QByteArray("old"));
    // It goes on: the next good file is taken.
    QVERIFY(writeFile(world.file(), R"({"tips": "good"})"));
    QVERIFY(world.waitForOutput("wrote tips.txt\n"));
    QCOMPARE(readFile(world.state(u"tips.txt"_s)), QByteArray("good"));
}

void tst_ReferenceAgent::aTypedAddressBecomesTheServerList_data() {
    QTest::addColumn<QByteArray>("typed");
    QTest::addColumn<QByteArray>("servers");
    QTest::newRow("pair") << QByteArray(R"(["127.0.0.1", "8080"])")
                          << QByteArray(R"([["127.0.0.1", 8080], ["127.0.0.1", 8080], ["127.0.0.1", 8080]])");
    QTest::newRow("empty port") << QByteArray(R"(["10.1.2.3", ""])")
                                << QByteArray(R"([["10.1.2.3", 80], ["10.1.2.3", 80], ["10.1.2.3", 80]])");
    QTest::newRow("no port") << QByteArray(R"(["10.1.2.3", "99999"])") << QByteArray();
    QTest::newRow("no pair") << QByteArray(R"(["10.1.2.3"])") << QByteArray();
}

void tst_ReferenceAgent::aTypedAddressBecomesTheServerList() {
    QFETCH(QByteArray, typed);
    QFETCH(QByteArray, servers);
    World world;
    QVERIFY(writeFile(world.file(), "{}"));
    QVERIFY(world.start()); // before any folder of the user exists
    QVERIFY(world.typeServer(typed));
    if (servers.isEmpty()) {
        QCOMPARE(world.waitForComplaint().count('\n'), 1);
        QVERIFY(!QFile::exists(world.state(u".QenConfig"_s)));
        return;
    }
    QVERIFY(world.waitForOutput("wrote .QenConfig\n"));
    QCOMPARE(shown(world.state(u".QenConfig"_s)), parsed(servers));
}

void tst_ReferenceAgent::theLaterWordAboutTheServerCounts() {
    World world;
    QVERIFY(writeFile(world.file(), R"({"server": [["10.0.0.1", 80]]})"));
    QVERIFY(world.start());
    QVERIFY(world.typeServer(R"(["127.0.0.1", "8080"])"));
    QVERIFY(world.waitForOutput("wrote .QenConfig\nready\nwrote .QenConfig\n"));
    // A new start does not fall back to the older of the two.
    world.agent.terminate();
    QVERIFY(world.agent.waitForFinished(limitMs));
    world.takeOutput();
    QVERIFY(world.start());
    QCOMPARE(shown(world.state(u".QenConfig"_s))[0], parsed(R"(["127.0.0.1", 8080])"));
    world.takeOutput();
    QVERIFY(writeFile(world.file(), R"({"server": [["10.0.0.9", 80]]})"));
    QVERIFY(world.waitForOutput("wrote .QenConfig\n"));
    QCOMPARE(shown(world.state(u".QenConfig"_s))[0], parsed(R"(["10.0.0.9", 80])"));
}

void tst_ReferenceAgent::endsOnSigterm() {
    World world;
    QVERIFY(world.start()); // without its file, which is one complaint and no reason to end
    world.agent.terminate();
    QVERIFY(world.agent.waitForFinished(limitMs));
    QCOMPARE(world.agent.exitStatus(), QProcess::NormalExit);
    QCOMPARE(world.agent.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_ReferenceAgent)
#include "tst_ReferenceAgent.moc"
