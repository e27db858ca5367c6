#include "Deployment.h"
#include "Paths.h"
#include "QenLogHelper.h"
#include "ScriptRunner.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <random>
#include <semaphore>

#include <sys/resource.h>

using namespace Platform;

namespace {

void put(const QString& path, const QByteArray& bytes = "x") {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

/// Bytes that no archive makes smaller.
QByteArray noise(int size) {
    QByteArray bytes(size, Qt::Uninitialized);
    std::minstd_rand random;
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random() >> 8U); });
    return bytes;
}

/// While it lives, no file of this process or of one started by it grows beyond a size.
class FileSizeLimit final {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limited{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before{};
};

/// The files in a zip archive, folders left out; "(none)" without an archive.
QStringList filesIn(const QString& archive) {
    if (!QFile::exists(archive))
        return {QStringLiteral("(none)")};
    QString list;
    TaskHelper().excuteTaskPath(QStringLiteral("/bin/bash"),
                                {QStringLiteral("-c"), QStringLiteral("zip -sf ") + ScriptRunner::shellQuoted(archive)},
                                {}, [&](const QString& result, const Error&) { list = result; });
    QStringList files;
    for (const QString& line : list.split(u'\n')) {
        if (line.startsWith(QStringLiteral("  ")) && !line.endsWith(u'/'))
            files << line.mid(2);
    }
    files.sort();
    return files;
}

/// A machine in one folder, whose name is as awkward as names can be.
struct Machine {
    QTemporaryDir parent;
    QString root = parent.filePath(QStringLiteral("it's a \"root\"; touch pwned $(touch pwned) [x]"));
    QString ring = root + QStringLiteral("/home/Logs/QenCloud/Logs");
    QString opened;
    QStringList scripts;
    QStringList console;
    Error scriptError;
    std::counting_semaphore<> done{0};
    QStringList outcomes;
    std::unique_ptr<QenLogHelper> log;

    Machine() {
        qputenv("MAV_ROOT", root.toLocal8Bit());
        put(agentLogs() + QStringLiteral("/agent.log"));
        LogWorld world = LogWorld::system();
        world.ringDirectory = ring;
        world.sizeRecord = root + QStringLiteral("/home/record");
        world.echo = [this](const QString& text) {
            console << text.section(QStringLiteral("[148] : "), 1).chopped(2);
        };
        world.runScript = [this](const QString& source) {
            scripts << source;
            return scriptError;
        };
        world.openFolder = [this](const QString& folder) {
            opened = folder;
        };
        world.userName = [] {
            return QStringLiteral("alice");
        };
        log = std::make_unique<QenLogHelper>(world);
        log->writeLog(QStringLiteral("a line"));
        log->drain();
    }
    ~Machine() {
        log.reset();
        qunsetenv("MAV_ROOT");
    }
    static QString agentLogs() { return Paths::localLibrary() + QStringLiteral("/Logs/QenCloud/v5/Logs"); }
    QString rootPath() const { return QFileInfo(ring).path(); }
    QenLogHelper::Completion completion() {
        return [this](bool success, const QString& message) {
            outcomes << (success ? QStringLiteral("success") : QStringLiteral("failure")) + u'|' + message;
            done.release();
        };
    }
    bool wait(int completions = 1) {
        bool isDone = true;
        for (int i = 0; i < completions; ++i)
            isDone = isDone && done.try_acquire_for(std::chrono::seconds(30));
        return isDone;
    }
};

const QStringList RingFiles{QStringLiteral("QenCloud-Info-1.log"), QStringLiteral("QenCloud-Info-2.log"),
                            QStringLiteral("QenCloud-Info-3.log")};

} // namespace

class tst_LogExport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void quickExport() {
        Machine machine;
        put(machine.agentLogs() + QStringLiteral("/-TT"));
        put(machine.agentLogs() + QStringLiteral("/touch pwned"));
        put(machine.agentLogs() + QStringLiteral("/sub/deep.log"));
        put(machine.rootPath() + QStringLiteral("/QenCloudAllLogs.zip"), "an old one");
        machine.log->zipLogs(machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(machine.outcomes, QStringList(QStringLiteral("success|")));
        QCOMPARE(machine.opened, machine.rootPath());
        QCOMPARE(filesIn(machine.ring + QStringLiteral("/QenCloudLogs.zip")),
                 QStringList({QStringLiteral("-TT"), QStringLiteral("agent.log"), QStringLiteral("sub/deep.log"),
                              QStringLiteral("touch pwned")}));
        QCOMPARE(filesIn(machine.rootPath() + QStringLiteral("/QenCloudAllLogs.zip")),
                 RingFiles + QStringList(QStringLiteral("QenCloudLogs.zip")));
        QVERIFY(machine.scripts.isEmpty());
        QVERIFY(!QFile::exists(machine.agentLogs() + QStringLiteral("/pwned")));
        QVERIFY(!QFile::exists(QStringLiteral("pwned")));
    }

    void fullExport() {
        Machine machine;
        put(Paths::agentState() + QStringLiteral("/state.archive"));
        put(Paths::users() + QStringLiteral("/.AllUsers/QenCloud/QenCloud.EXE$/data.db"));
        put(Paths::localLibrary() + QStringLiteral("/Logs/") + Deployment::VpnLogFolder + QStringLiteral("/vpn.log"));
        const QString target = machine.root + QStringLiteral("/chosen\n 'folder\" \\");
        put(target + QStringLiteral("/MavLogs/MavUserLogs.zip"), "an old one");
        machine.log->zipLogsWithDirectory(target, machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(machine.outcomes, QStringList(QStringLiteral("success|")));
        QCOMPARE(machine.opened, target);
        const QString archives = target + QStringLiteral("/MavLogs/");
        QCOMPARE(filesIn(archives + QStringLiteral("MavCloudLogs.zip")), QStringList(QStringLiteral("agent.log")));
        QCOMPARE(filesIn(archives + QStringLiteral("MavUserLogs.zip")), RingFiles);
        QCOMPARE(filesIn(archives + QStringLiteral("MavCloud.zip")), QStringList(QStringLiteral("state.archive")));
        QCOMPARE(filesIn(archives + QStringLiteral("MavSqlite.zip")), QStringList(QStringLiteral("data.db")));
        QCOMPARE(filesIn(archives + QStringLiteral("MavZelVPN.zip")), QStringList(QStringLiteral("vpn.log")));
    }

    void largeFolderTakesItsTime() {
        Machine machine;
        // More names than a pipe holds.
        for (int i = 0; i < 1500; ++i)
            put(machine.agentLogs() + QStringLiteral("/a rather long name of a rotated log file %1").arg(i));
        machine.log->zipLogs(machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(filesIn(machine.ring + QStringLiteral("/QenCloudLogs.zip")).size(), 1501);
    }

    void missingFoldersAreLeftOut() {
        Machine machine;
        const QString target = machine.root + QStringLiteral("/chosen");
        machine.log->zipLogsWithDirectory(target, machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(machine.outcomes, QStringList(QStringLiteral("success|")));
        QCOMPARE(QDir(target + QStringLiteral("/MavLogs")).entryList(QDir::Files),
                 QStringList({QStringLiteral("MavCloudLogs.zip"), QStringLiteral("MavUserLogs.zip")}));
    }

    void failureLeavesNoArchive_data() {
        QTest::addColumn<bool>("quick");
        QTest::newRow("quick") << true;
        QTest::newRow("full") << false;
    }
    void failureLeavesNoArchive() {
        QFETCH(bool, quick);
        Machine machine;
        QVERIFY(QDir(machine.agentLogs()).removeRecursively());
        put(machine.agentLogs(), "a file in place of the folder");
        const QString target = machine.root + QStringLiteral("/chosen");
        put(target + QStringLiteral("/MavLogs/MavCloudLogs.zip"), "an old one");
        put(machine.ring + QStringLiteral("/QenCloudLogs.zip"), "an old one");
        if (quick)
            machine.log->zipLogs(machine.completion());
        else
            machine.log->zipLogsWithDirectory(target, machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(machine.outcomes.size(), 1);
        QVERIFY2(machine.outcomes[0].startsWith(
                     QStringLiteral("failure|提取所有日志失败:Error Domain= Code=-1 (/bin/bash:")),
                 qPrintable(machine.outcomes[0]));
        QVERIFY(machine.opened.isEmpty());
        QVERIFY(!QFile::exists((quick ? machine.ring + QStringLiteral("/QenCloudLogs.zip")
                                      : target + QStringLiteral("/MavLogs/MavCloudLogs.zip"))));
    }

    void archiveThatCannotBeWritten_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("anyLogs");
        QTest::newRow("file in place of the folder") << QStringLiteral("file") << true;
        // Nobody makes folders there, not even root.
        QTest::newRow("no permission") << QStringLiteral("/proc") << true;
        QTest::newRow("nothing to write") << QStringLiteral("/proc") << false;
    }
    void archiveThatCannotBeWritten() {
        QFETCH(QString, target);
        QFETCH(bool, anyLogs);
        Machine machine;
        put(machine.root + QStringLiteral("/file"));
        if (!anyLogs)
            QVERIFY(QFile::remove(machine.agentLogs() + QStringLiteral("/agent.log")));
        machine.log->zipLogsWithDirectory(QDir(machine.root).filePath(target), machine.completion());
        QVERIFY(machine.wait());
        QCOMPARE(machine.outcomes.size(), 1);
        QVERIFY2(machine.outcomes[0].startsWith(QStringLiteral("failure|提取所有日志失败:")),
                 qPrintable(machine.outcomes[0]));
        QVERIFY(machine.opened.isEmpty());
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
        put(first ? machine.agentLogs() + QStringLiteral("/large.log") : Paths::agentState() + QStringLiteral("/large"),
            noise(1 << 20));
        const QString target = machine.root + QStringLiteral("/chosen");
        // What an export left whose client was killed, and what somebody else keeps there.
        put(target + QStringLiteral("/MavLogs/ziAbC123"), "PK\3\4 and no more");
        put(target + QStringLiteral("/MavLogs/zigzag12"), "a text");
        {
            // A process that writes more than this into one file is killed.
            const FileSizeLimit limit(1 << 18);
            machine.log->zipLogsWithDirectory(target, machine.completion());
            QVERIFY(machine.wait());
        }
        QStringList expected{QStringLiteral("zigzag12")};
        if (!first)
            expected = QStringList({QStringLiteral("MavCloudLogs.zip"), QStringLiteral("MavUserLogs.zip")}) + expected;
        QCOMPARE(QDir(target + QStringLiteral("/MavLogs")).entryList(QDir::Files | QDir::Hidden), expected);
        QCOMPARE(machine.outcomes, QStringList(first ? QStringLiteral("failure|提取所有日志失败:zip did not finish")
                                                     : QStringLiteral("success|")));
    }

    void folderThatGoesDuringTheExport() {
        Machine machine;
        put(machine.agentLogs() + QStringLiteral("/large.log"), noise(1 << 24));
        const QString target = machine.root + QStringLiteral("/chosen");
        machine.log->zipLogsWithDirectory(target, machine.completion());
        const QDir archives(target + QStringLiteral("/MavLogs"));
        QElapsedTimer timer;
        timer.start();
        while (archives.entryList({QStringLiteral("zi*")}, QDir::Files).isEmpty() && timer.elapsed() < 20000)
            QThread::usleep(200);
        QVERIFY(QDir(target).removeRecursively());
        QVERIFY(machine.wait());
        QVERIFY2(machine.outcomes[0].startsWith(QStringLiteral("failure|提取所有日志失败:")),
                 qPrintable(machine.outcomes[0]));
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
        if (!works)
            machine.scriptError = Error(QStringLiteral("NSAppleScript"), -128, QStringLiteral("User canceled."));
        machine.log->zipLogs(machine.completion());
        QVERIFY(machine.wait(works ? 1 : 2));
        machine.log->drain();
        QString quoted = machine.rootPath();
        quoted.replace(u'\'', QStringLiteral("'\\''"));
        QCOMPARE(machine.scripts,
                 QStringList(QStringLiteral("do shell script \"chown alice:staff '%1' \" with administrator privileges")
                                 .arg(ScriptRunner::escaped(quoted))));
        QCOMPARE(ScriptRunner::parsed(machine.scripts[0]).command,
                 QStringLiteral("chown alice:staff '%1' ").arg(quoted));
        if (works) {
            QCOMPARE(machine.outcomes, QStringList(QStringLiteral("success|")));
            QCOMPARE(machine.console.last(), QStringLiteral("Logs path chown success."));
            for (const QString& name : RingFiles)
                QVERIFY(QFile::exists(machine.ring + u'/' + name));
            QCOMPARE(filesIn(machine.rootPath() + QStringLiteral("/QenCloudAllLogs.zip")).size(), 4);
            return;
        }
        QCOMPARE(machine.outcomes[0], QStringLiteral("failure|无法找到日志目录"));
        QCOMPARE(machine.outcomes.size(), 2);
        QCOMPARE(machine.console.mid(1),
                 QStringList(
                     {QStringLiteral("Logs path chown failed: Error Domain=NSAppleScript Code=-128 \"User canceled.\""),
                      QStringLiteral("无法找到日志目录：") + machine.ring}));
    }
};

QTEST_GUILESS_MAIN(tst_LogExport)
#include "tst_LogExport.moc"
