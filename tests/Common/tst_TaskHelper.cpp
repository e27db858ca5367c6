#include "FileManager.h"
#include "TaskHelper.h"
#include "TestFiles.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

const QString Bash = u"/bin/bash"_s;

QStringList script(const QString& text) {
    return {u"-c"_s, text};
}

} // namespace

class tst_TaskHelper : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void outcomes_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<bool>("bothInBlockForm");
        QTest::newRow("output") << "echo a"
                                << "a\n"
                                << QString() << false;
        QTest::newRow("only errors") << "echo b >&2" << QString() << "b\n" << false;
        QTest::newRow("both streams") << "echo a; echo b >&2" << QString() << "b\n" << true;
        QTest::newRow("nothing") << "exit 3" << QString() << QString() << false;
        QTest::newRow("errors are not UTF-8") << "printf 'x\\377' >&2" << QString() << "unknown error" << false;
        QTest::newRow("output in UTF-8") << "printf '\\345\\220\\215'" << u"名"_s << QString() << false;
    }
    void outcomes() {
        QFETCH(QString, text);
        QFETCH(QString, result);
        QFETCH(QString, reason);
        QFETCH(bool, bothInBlockForm);
        const TaskHelper helper;
        const QString untouched = u"untouched"_s;
        QString output = untouched;
        Error error;
        const auto task = helper.excuteTaskPath(Bash, script(text), &output, &error);
        QVERIFY(task && !task->isRunning());
        QCOMPARE(output, result.isNull() ? untouched : result);
        QCOMPARE(bool(error), !reason.isNull());
        if (error) {
            QCOMPARE(error.domain(), QString());
            QCOMPARE(error.code(), -1);
            QCOMPARE(error.localizedFailureReason(), reason);
        }
        QVERIFY(helper.excuteTaskPath(Bash, script(text), static_cast<QString*>(nullptr), nullptr));

        QStringList calls;
        helper.excuteTaskPath(
            Bash, script(text),
            [&](const TaskHelper::TaskPointer& running) { calls << (running->isLaunched() ? "launched" : ""); },
            [&](const QString& blockResult, const Error& blockError) {
                calls << u"complete"_s;
                QCOMPARE(blockResult, bothInBlockForm ? u"a\n"_s : result);
                QCOMPARE(blockResult.isNull(), result.isNull() && !bothInBlockForm);
                QCOMPARE(blockError.localizedFailureReason(), reason);
            });
        QCOMPARE(calls, QStringList({u"launched"_s, u"complete"_s}));
    }

    void localeThatIsNotInstalled() {
        const QByteArray before = qgetenv("LC_ALL");
        qputenv("LC_ALL", "xx_XX.UTF-8");
        QString output;
        Error error;
        TaskHelper().excuteTaskPath(Bash, script(u"echo ok"_s), &output, &error);
        before.isNull() ? qunsetenv("LC_ALL") : qputenv("LC_ALL", before);
        QCOMPARE(output, u"ok\n"_s);
        QVERIFY(!error);
    }

    void outputThatIsNotText() {
        QString output = u"untouched"_s;
        TaskHelper().excuteTaskPath(Bash, script(u"printf 'x\\377'"_s), &output, nullptr);
        QVERIFY(output.isNull());
    }

    void missingExecutable() {
        QString output = u"untouched"_s;
        Error error;
        QVERIFY(!TaskHelper().excuteTaskPath(u"/nonexistent/command"_s, {}, &output, &error));
        QCOMPARE(output, u"untouched"_s);
        QVERIFY(!error);
        bool isLaunched = false;
        TaskHelper().excuteTaskPath(
            u"/nonexistent/command"_s, {}, [&](const TaskHelper::TaskPointer&) { isLaunched = true; },
            [&](const QString&, const Error& blockError) { error = blockError; });
        QVERIFY(error && !isLaunched);
        TaskHelper().startCMDApp(u"/nonexistent/command"_s, {});
        Error denied;
        QVERIFY(TaskHelper().excuteTaskPath(u"/etc/passwd"_s, {}, &output, &denied));
        QCOMPARE(denied.code(), -1);
    }

    void limitStopsACommand_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("limit");
        QTest::addColumn<qsizetype>("size");
        QTest::newRow("sleeps") << "echo partly; sleep 10" << 500 << qsizetype(7);
        QTest::newRow("fills its pipe") << "head -c 200000 /dev/zero" << 500 << qsizetype(65536);
        QTest::newRow("leaves a descendant") << "echo partly; sleep 30 & sleep 10" << 500 << qsizetype(7);
        QTest::newRow("by default") << "echo partly; sleep 10" << 3000 << qsizetype(7);
    }
    void limitStopsACommand() {
        QFETCH(QString, text);
        QFETCH(int, limit);
        QElapsedTimer timer;
        timer.start();
        QString output;
        const TaskHelper helper = limit == 3000 ? TaskHelper::sharedInstance() : TaskHelper(limit / 1000.0);
        const auto task = helper.excuteTaskPath(Bash, script(text), &output, nullptr);
        QVERIFY(task && task->wasSignalled());
        QTEST(output.size(), "size");
        QVERIFY2(
            timer.elapsed() >= limit && timer.elapsed() < limit + 4500, qPrintable(QString::number(timer.elapsed())));
    }

    void blockFormHasNoLimit() {
        QString output;
        TaskHelper(0.1).excuteTaskPath(Bash, script(u"(sleep 0.5; head -c 300000 /dev/zero) & exit 0"_s), {},
            [&](const QString& result, const Error&) { output = result; });
        QCOMPARE(output.size(), qsizetype(300000));
    }

    void fireAndForget() {
        QTemporaryDir folder;
        const QString mark = folder.filePath(u"mark"_s);
        QElapsedTimer timer;
        timer.start();
        TaskHelper().startCMDApp(Bash, script(u"sleep 0.6; echo done > '%1'"_s.arg(mark)));
        QVERIFY(timer.elapsed() < 500 && !QFileInfo::exists(mark));
        QTRY_VERIFY(QFileInfo(mark).size() > 0);
    }

    void folders() {
        QTemporaryDir root;
        qputenv("MAV_ROOT", root.path().toLocal8Bit());
        const FileManager files;
        const QString data = files.createAppRootDirectory();
        QCOMPARE(data, root.filePath(u"Users/.AllUsers/QenCloud/QenCloud.EXE$"_s));
        QCOMPARE(files.createAppUpgradeRootDirectory(), data + u"/AppUpgrade"_s);
        QCOMPARE(files.createAppPolicyRootDirectory(), data + u"/Policy"_s);
        qunsetenv("MAV_ROOT");
        QVERIFY(QFileInfo(data + u"/Policy"_s).isDir());

        const QString file = files.createFilePathWithFileName(u"f"_s, data);
        QCOMPARE(file, data + u"/f"_s);
        put(file, "kept");
        QCOMPARE(files.createFilePath(file), file);
        // A file in the place of a folder stays as it is; so does what cannot be made.
        QCOMPARE(files.createDirectoryWithName(u"f"_s, data), file);
        QCOMPARE(contentOf(file), "kept");
        QCOMPARE(files.createDirectoryWithName(u"below"_s, file), file + u"/below"_s);
        QVERIFY(files.createFilePath(file + u"/below"_s).isNull());
        QVERIFY(files.createFilePath(QString()).isNull());
        QFile::link(root.filePath(u"elsewhere"_s), root.filePath(u"dangling"_s));
        QVERIFY(files.createFilePath(root.filePath(u"dangling"_s)).isNull());
        QVERIFY(!QFileInfo::exists(root.filePath(u"elsewhere"_s)));
    }
};

QTEST_GUILESS_MAIN(tst_TaskHelper)
#include "tst_TaskHelper.moc"
