#include "Deployment.h"
#include "FileSizeLimit.h"
#include "Paths.h"
#include "QenLogHelper.h"
#include "ScriptRunner.h"
#include "Tally.h"
#include "TaskHelper.h"
#include "TestFiles.h"

#include <QElapsedTimer>
#include <QLocalServer>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#include <vector>

using namespace Qt::StringLiterals;

using namespace Platform;

namespace {

/// Bytes that no archive makes smaller.
QByteArray noise(int size) {
    std::vector<quint32> words(static_cast<size_t>(size) / sizeof(quint32));
    QRandomGenerator(1).fillRange(words.data(), static_cast<qsizetype>(words.size()));
    return {reinterpret_cast<const char*>(words.data()), size};
}

/// The files in a zip archive, folders left out.
QStringList filesIn(const QString& archive) {
    QString list;
    const QString command = u"unzip -Z1 %1 | grep -v '/$' | LC_ALL=C sort"_s.arg(ScriptRunner::shellQuoted(archive));
    TaskHelper().excuteTaskPath(
        u"/bin/bash"_s, {u"-c"_s, command}, {}, [&](const QString& result, const Error&) { list = result; });
    return list.split(u'\n', Qt::SkipEmptyParts);
}

/// A machine in one folder, whose name is as awkward as names can be.
struct Machine {
    QTemporaryDir parent;
    QString root = parent.filePath(u"it's a \"root\"; touch pwned $(touch pwned) [x]"_s);
    QString ring = root + u"/home/Logs/QenCloud/Logs"_s;
    QString opened;
    QStringList scripts;
    QStringList console;
    Error scriptError;
    Tally done;
    QStringList outcomes;
    std::unique_ptr<QenLogHelper> log;

    Machine() {
        qputenv("MAV_ROOT", root.toLocal8Bit());
        put(agentLogs() + u"/agent.log"_s);
        LogWorld world = LogWorld::system();
        world.ringDirectory = ring;
        world.sizeRecord = root + u"/home/record"_s;
        world.echo = [this](const QString& text) { console << text.section(u"[148] : "_s, 1).chopped(2); };
        world.runScript = [this](const QString& source) {
            scripts << source;
            return scriptError;
        };
        world.openFolder = [this](const QString& folder) { opened = folder; };
        world.userName = [] { return u"alice"_s; };
        log = std::make_unique<QenLogHelper>(world);
        log->writeLog(u"a line"_s);
        log->drain();
    }
    ~Machine() {
        log.reset();
        qunsetenv("MAV_ROOT");
    }
    static QString agentLogs() { return Paths::localLibrary() + u"/Logs/QenCloud/v5/Logs"_s; }
    QString rootPath() const { return QFileInfo(ring).path(); }
    QenLogHelper::Completion completion() {
        return [this](bool success, const QString& message) {
            outcomes << (success ? u"success"_s : u"failure"_s) + u'|' + message;
            done.release();
        };
    }
    bool wait(int completions = 1) { return done.tryAcquire(completions, 30000); }
};

const QStringList RingFiles{u"QenCloud-Info-1.log"_s, u"QenCloud-Info-2.log"_s, u"QenCloud-Info-3.log"_s};

} // namespace

class tst_LogExport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void fullExport() {
        Machine machine;
        put(machine.agentLogs() + u"/-TT"_s);
        put(machine.agentLogs() + u"/touch pwned"_s);
        put(machine.agentLogs() + u"/sub/deep.log"_s);
        put(Paths::agentState() + u"/state.archive"_s);
        put(Paths::users() + u"/.AllUsers/QenCloud/QenCloud.EXE$/data.db"_s);
        put(Paths::localLibrary() + u"/Logs/"_s + Deployment::VpnLogFolder + u"/vpn.log"_s);
        const QString target = machine.root + u"/chosen\n 'folder\" \\"_s;
        put(target + u"/MavLogs/MavUserLogs.zip"_s, "an old one");
        machine.log->zipLogsWithDirectory(target, machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(machine.outcomes, QStringList(u"success|"_s));
        QCOMPARE(machine.opened, target);
        const QString archives = target + u"/MavLogs/"_s;
        QCOMPARE(filesIn(archives + u"MavCloudLogs.zip"_s),
            QStringList({u"-TT"_s, u"agent.log"_s, u"sub/deep.log"_s, u"touch pwned"_s}));
        QCOMPARE(filesIn(archives + u"MavUserLogs.zip"_s), RingFiles);
        QCOMPARE(filesIn(archives + u"MavCloud.zip"_s), QStringList(u"state.archive"_s));
        QCOMPARE(filesIn(archives + u"MavSqlite.zip"_s), QStringList(u"data.db"_s));
        QCOMPARE(filesIn(archives + u"MavZelVPN.zip"_s), QStringList(u"vpn.log"_s));
        QVERIFY(machine.scripts.isEmpty());
        QVERIFY(!QFile::exists(machine.agentLogs() + u"/pwned"_s) && !QFile::exists(u"pwned"_s));
    }

    void largeFolderTakesItsTime() {
        Machine machine;
        // More names than a pipe holds.
        for (int i = 0; i < 1500; ++i)
            put(machine.agentLogs() + u"/a rather long name of a rotated log file %1"_s.arg(i));
        machine.log->zipLogs(machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(filesIn(machine.ring + u"/QenCloudLogs.zip"_s).size(), 1501);
    }

    void failures_data() {
        QTest::addColumn<bool>("hasFolder");
        QTest::addColumn<bool>("hasLogs");
        QTest::newRow("no folder to pack") << false << false;
        QTest::newRow("no permission") << true << true;
        QTest::newRow("nothing to write") << true << false;
    }
    void failures() {
        QFETCH(bool, hasFolder);
        QFETCH(bool, hasLogs);
        Machine machine;
        if (!hasLogs)
            QVERIFY(QDir(machine.agentLogs()).removeRecursively());
        if (!hasFolder)
            put(machine.agentLogs(), "a file in place of the folder");
        const QString archive = machine.root + u"/chosen/MavLogs/MavCloudLogs.zip"_s;
        put(archive, "an old one");
        // Nobody makes folders there, not even root.
        machine.log->zipLogsWithDirectory(hasFolder ? u"/proc"_s : machine.root + u"/chosen"_s, machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(machine.outcomes.size(), 1);
        const QString why = u"failure|提取所有日志失败:"_s;
        QVERIFY2(machine.outcomes[0].startsWith(hasFolder ? why : why + u"Error Domain= Code=-1 (/bin/bash:"_s),
            qPrintable(machine.outcomes[0]));
        QVERIFY(machine.opened.isEmpty());
        // It would be taken for a new one.
        QCOMPARE(QFile::exists(archive), hasFolder);
    }

    void killedZipLeavesNothing_data() {
        QTest::addColumn<bool>("first");
        QTest::newRow("the agent's logs") << true;
        // From the second archive on, the outcome is not checked.
        QTest::newRow("a later archive") << false;
    }
    void killedZipLeavesNothing() {
        QFETCH(bool, first);
        Machine machine;
        put(first ? machine.agentLogs() + u"/large.log"_s : Paths::agentState() + u"/large"_s, noise(1 << 20));
        const QString target = machine.root + u"/chosen"_s;
        // What an export left whose client was killed, and what somebody else keeps there.
        put(target + u"/MavLogs/ziAbC123"_s, "PK\3\4 and no more");
        put(target + u"/MavLogs/zigzag12"_s, "a text");
        {
            // A process that writes more than this into one file is killed.
            const FileSizeLimit limit(1 << 18);
            machine.log->zipLogsWithDirectory(target, machine.completion());
            QVERIFY(machine.wait());
        }
        QStringList expected{u"zigzag12"_s};
        if (!first)
            expected = QStringList({u"MavCloudLogs.zip"_s, u"MavUserLogs.zip"_s}) + expected;
        QCOMPARE(QDir(target + u"/MavLogs"_s).entryList(QDir::Files | QDir::Hidden), expected);
        QCOMPARE(
            machine.outcomes, QStringList(first ? u"failure|提取所有日志失败:zip did not finish"_s : u"success|"_s));
    }

    void whatCannotBeReadIsLeftOut() {
        Machine machine;
        put(machine.agentLogs() + u"/.hidden"_s);
        QLocalServer unreadable;
        QVERIFY(unreadable.listen(machine.parent.filePath(u"socket"_s)));
        QVERIFY(QFile::link(unreadable.fullServerName(), machine.agentLogs() + u"/socket"_s));
        const QString target = machine.root + u"/chosen"_s;
        machine.log->zipLogsWithDirectory(target, machine.completion());
        QVERIFY(machine.wait());
        machine.log->drain();
        QCOMPARE(machine.outcomes, QStringList(u"success|"_s));
        const QString archive = target + u"/MavLogs/MavCloudLogs.zip"_s;
        QCOMPARE(filesIn(archive), QStringList({u".hidden"_s, u"agent.log"_s}));
        QCOMPARE(QFile::permissions(archive) & ~QFile::Permissions(0x7000), QFile::ReadUser | QFile::WriteUser);
        const QString line = machine.console.filter(u"QenCloud export log left out: "_s).value(0);
        QVERIFY2(line.contains(u"socket"_s) && !line.contains(u'\n'), qPrintable(line));
    }

    void clientThatEndsDuringTheExport() {
        Machine machine;
        put(machine.agentLogs() + u"/large.log"_s, noise(1 << 26));
        const QString target = machine.root + u"/chosen"_s;
        machine.log->zipLogsWithDirectory(target, machine.completion());
        const QDir archives(target + u"/MavLogs"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!archives.entryList({u"zi*"_s}, QDir::Files).isEmpty(), 20000);
        machine.log->endExports();
        QCOMPARE(machine.outcomes.size(), 1);
        QVERIFY2(machine.outcomes[0].startsWith(u"failure|"_s), qPrintable(machine.outcomes[0]));
        QCOMPARE(archives.entryList(QDir::Files | QDir::Hidden), QStringList());
        QCOMPARE(machine.opened, QString());
    }

    void folderThatGoesDuringTheExport() {
        Machine machine;
        put(machine.agentLogs() + u"/large.log"_s, noise(1 << 24));
        const QString target = machine.root + u"/chosen"_s;
        machine.log->zipLogsWithDirectory(target, machine.completion());
        const QDir archives(target + u"/MavLogs"_s);
        QElapsedTimer timer;
        timer.start();
        while (archives.entryList({u"zi*"_s}, QDir::Files).isEmpty() && timer.elapsed() < 20000)
            QThread::usleep(200);
        QVERIFY(QDir(target).removeRecursively());
        QVERIFY(machine.wait());
        QVERIFY2(machine.outcomes[0].startsWith(u"failure|提取所有日志失败:"_s), qPrintable(machine.outcomes[0]));
        QVERIFY(!QFile::exists(target));
    }

    void repair_data() {
        QTest::addColumn<bool>("works");
        QTest::newRow("succeeds") << true;
        QTest::newRow("fails") << false;
    }
    void repair() {
        QFETCH(bool, works);
        Machine machine;
        QVERIFY(QDir(machine.ring).removeRecursively());
        put(machine.rootPath() + u"/QenCloudAllLogs.zip"_s, "an old one");
        if (!works)
            machine.scriptError = Error(u"NSAppleScript"_s, -128, u"User canceled."_s);
        machine.log->zipLogs(machine.completion());
        QVERIFY(machine.wait(works ? 1 : 2));
        machine.log->drain();
        QString quoted = machine.rootPath();
        quoted.replace(u'\'', u"'\\''"_s);
        QCOMPARE(machine.scripts,
            QStringList(u"do shell script \"chown alice:staff '%1' \" with administrator privileges"_s.arg(
                ScriptRunner::escaped(quoted))));
        QCOMPARE(ScriptRunner::parsed(machine.scripts[0]).command, u"chown alice:staff '%1' "_s.arg(quoted));
        if (works) {
            QCOMPARE(machine.outcomes, QStringList(u"success|"_s));
            QCOMPARE(machine.console.last(), u"Logs path chown success."_s);
            QCOMPARE(machine.opened, machine.rootPath());
            QCOMPARE(filesIn(machine.rootPath() + u"/QenCloudAllLogs.zip"_s),
                RingFiles + QStringList(u"QenCloudLogs.zip"_s));
            return;
        }
        QCOMPARE(machine.outcomes.value(0), u"failure|无法找到日志目录"_s);
        QCOMPARE(machine.console.mid(1),
            QStringList({u"Logs path chown failed: Error Domain=NSAppleScript Code=-128 \"User canceled.\""_s,
                u"无法找到日志目录："_s + machine.ring}));
    }
};

QTEST_GUILESS_MAIN(tst_LogExport)
#include "tst_LogExport.moc"
