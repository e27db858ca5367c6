#include "ScriptRunner.h"
#include "SystemLog.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace Platform;

class tst_ScriptRunner : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parsed_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("understood");
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("administrator");
        QTest::newRow("plain") << "do shell script \"ls | awk '{print $5}'\"" << true << "ls | awk '{print $5}'"
                               << false;
        QTest::newRow("clause") << "do shell script \"reboot\" with administrator privileges" << true << "reboot"
                                << true;
        QTest::newRow("blanks") << " do  shell\tscript \"a\"  with  administrator privileges \n" << true << "a" << true;
        QTest::newRow("escapes") << "do shell script \"echo \\\"a\\\\b\\\" \\t\"" << true << "echo \"a\\b\" \t"
                                 << false;
        QTest::newRow("empty command") << "do shell script \"\"" << true << "" << false;
        QTest::newRow("no end") << "do shell script \"ls" << false << "" << false;
        QTest::newRow("ends in an escape") << "do shell script \"ls\\" << false << "" << false;
        QTest::newRow("unknown escape") << "do shell script \"ls\\$x\"" << false << "" << false;
        QTest::newRow("second statement") << "do shell script \"ls\" & \"x\"" << false << "" << false;
        QTest::newRow("other statement") << "tell application \"Finder\" to quit" << false << "" << false;
        QTest::newRow("nothing") << "" << false << "" << false;
    }
    void parsed() {
        QFETCH(QString, source);
        const ScriptRunner::Statement statement = ScriptRunner::parsed(source);
        QTEST(statement.understood, "understood");
        if (statement.understood) {
            QTEST(statement.command, "command");
            QTEST(statement.needsAdministrator, "administrator");
        }
    }

    void quotingSurvivesTheShell_data() {
        QTest::addColumn<QString>("text");
        for (const char* text :
            {"plain", "a b", "it's", "\"q\"", "back\\slash", "$(touch x) `id` $HOME; & | *", "-n", "名字"})
            QTest::newRow(text) << QString::fromUtf8(text);
    }
    void quotingSurvivesTheShell() {
        QFETCH(QString, text);
        const QString command = u"printf %s "_s + ScriptRunner::shellQuoted(text);
        Error error;
        const QString source = u"do shell script \"%1\""_s.arg(ScriptRunner::escaped(command));
        QCOMPARE(ScriptRunner(source).execute(&error), text);
        QVERIFY(!error);
    }

    void execute_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("result");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<QString>("text");
        QTest::newRow("one line end goes") << "do shell script \"printf 'a\\\\n\\\\n'\""
                                           << "a\n"
                                           << qint64(0) << "";
        QTest::newRow("no output") << "do shell script \"true\""
                                   << "" << qint64(0) << "";
        QTest::newRow("fails") << "do shell script \"echo lost; echo why >&2; exit 3\""
                               << "" << qint64(3) << "why";
        QTest::newRow("warns") << "do shell script \"echo fine; echo why >&2\""
                               << "fine" << qint64(0) << "";
        QTest::newRow("no script") << "quit"
                                   << "" << ScriptRunner::SyntaxError
                                   << "The script is not a do shell script statement.";
        QTest::newRow("takes too long") << "do shell script \"sleep 1000\""
                                        << "" << ScriptRunner::TimedOut << "The script timed out.";
        QTest::newRow("administrator") << "do shell script \"echo $AS\" with administrator privileges"
                                       << "admin" << qint64(0) << "";
        QTest::newRow("dialog closed") << "do shell script \"exit 126\" with administrator privileges"
                                       << "" << ScriptRunner::UserCancelled << "User canceled.";
        QTest::newRow("not authorised") << "do shell script \"echo no >&2; exit 127\" with administrator privileges"
                                        << "" << ScriptRunner::NotPermitted << "no";
    }
    void execute() {
        QFETCH(QString, source);
        QFETCH(QString, result);
        QFETCH(qint64, code);
        QTemporaryDir folder;
        QFile tool(folder.filePath(u"authorise"_s));
        QVERIFY(tool.open(QIODevice::WriteOnly));
        tool.write("#!/bin/sh\nexport AS=admin\nexec \"$@\"\n");
        tool.close();
        tool.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

        Error error;
        const QString answer = ScriptRunner(source, {1.0, 5.0}, tool.fileName()).execute(&error);
        QCOMPARE(answer, result);
        QCOMPARE(answer.isNull(), code != 0);
        QCOMPARE(error.code(), code);
        QTEST(error.localizedDescription(), "text");
    }

    void withoutAuthorisationTool() {
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", "/nonexistent");
        Error error;
        QVERIFY(ScriptRunner(u"do shell script \"true\" with administrator privileges"_s).execute(&error).isNull());
        qputenv("PATH", path);
        QCOMPARE(error.code(), ScriptRunner::NoAuthorisationTool);
    }

    /// A standard error that nobody reads, or that is closed, neither holds up nor ends the process.
    void consoleNeverWaits() {
        const int kept = dup(STDERR_FILENO);
        int ends[2];
        QVERIFY(pipe2(ends, O_CLOEXEC) == 0);
        dup2(ends[1], STDERR_FILENO);
        installConsoleHandler();
        for (int i = 0; i < 3000; ++i)
            systemLog(u"line %1 "_s.arg(i) + QString(50, u'x') + u'\n');
        systemLog(QString(1 << 20, u'y'));
        QByteArray text(65536, 0);
        text.resize(read(ends[0], text.data(), 65536));
        close(ends[0]);
        systemLog(u"nobody listens"_s);
        close(STDERR_FILENO);
        installConsoleHandler();
        const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup2(kept, STDERR_FILENO);
        qInstallMessageHandler(nullptr);
        close(kept);
        close(ends[1]);
        close(next);
        QVERIFY(text.contains("line 0 xxx"));
        QVERIFY(!text.contains("\n\n"));
        QVERIFY(text.size() > 60000);
        QVERIFY2(next > STDERR_FILENO, "a file of ours got the number of standard error");
    }
};

QTEST_GUILESS_MAIN(tst_ScriptRunner)
#include "tst_ScriptRunner.moc"
