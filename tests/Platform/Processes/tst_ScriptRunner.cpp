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
    void quotingSurvivesTheShell() {
        for (const QString& text : {u"plain"_s, u"a b"_s, u"it's"_s, u"\"q\""_s, u"back\\slash"_s,
                 u"$(touch x) `id` $HOME; & | *"_s, u"-n"_s, u"名字"_s}) {
            const QString command = u"printf %s "_s + ScriptRunner::shellQuoted(text);
            Error error;
            const QString source = u"do shell script \"%1\""_s.arg(ScriptRunner::escaped(command));
            QCOMPARE(ScriptRunner(source).execute(&error), text);
            QVERIFY(!error);
        }
    }

    void notUnderstood() {
        for (const char* source : {"", "quit", "do shell script \"ls", "do shell script \"ls\\",
                 "do shell script \"ls\\$x\"", "do shell script \"ls\" & \"x\""}) {
            Error error;
            QVERIFY2(ScriptRunner(QString::fromLatin1(source)).execute(&error).isNull(), source);
            QCOMPARE(error.code(), ScriptRunner::SyntaxError);
            QCOMPARE(error.localizedDescription(), u"The script is not a do shell script statement."_s);
        }
    }

    void execute() {
        struct Row {
            QString command;
            bool asAdministrator;
            QString result;
            qint64 code;
            QString text;
        };
        const Row rows[] = {
            {u"printf 'a\\tb\\n\\\\n'"_s, false, u"a\tb\n"_s, 0, {}},
            {u""_s, false, u""_s, 0, {}},
            {u"echo lost; echo why >&2; exit 3"_s, false, {}, 3, u"why"_s},
            {u"echo fine; echo why >&2"_s, false, u"fine"_s, 0, {}},
            {u"sleep 1000"_s, false, {}, ScriptRunner::TimedOut, u"The script timed out."_s},
            {u"echo $AS"_s, true, u"admin"_s, 0, {}},
            {u"exit 126"_s, true, {}, ScriptRunner::UserCancelled, u"User canceled."_s},
            {u"echo no >&2; exit 127"_s, true, {}, ScriptRunner::NotPermitted, u"no"_s},
        };
        QTemporaryDir folder;
        QFile tool(folder.filePath(u"authorise"_s));
        QVERIFY(tool.open(QIODevice::WriteOnly));
        tool.write("#!/bin/sh\nexport AS=admin\nexec \"$@\"\n");
        tool.close();
        tool.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        for (const Row& row : rows) {
            const QString source = u" do  shell\tscript \"%1\" %2 \n"_s.arg(
                row.command, row.asAdministrator ? u" with  administrator privileges"_s : QString());
            Error error;
            const QString answer = ScriptRunner(source, {1.0, 5.0}, tool.fileName()).execute(&error);
            QCOMPARE(answer, row.result);
            QCOMPARE(answer.isNull(), row.code != 0);
            QCOMPARE(error.code(), row.code);
            QCOMPARE(error.localizedDescription(), row.text);
        }
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
