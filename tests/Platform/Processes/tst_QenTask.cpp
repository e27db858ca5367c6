#include "HostTools.h"
#include "QenTask.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <thread>

using namespace Qt::StringLiterals;

using namespace Platform;

namespace {

const QString Bash = u"/bin/bash"_s;

QStringList script(const QString& text) {
    return {u"-c"_s, text};
}

/// The output of a command that is expected to be short.
QString outputOf(const QString& text) {
    QenTask task(Bash, script(text));
    task.launch();
    task.waitUntilExitWithTimeout(10, true, true);
    return QString::fromUtf8(task.readStandardOutputToEnd());
}

qsizetype openDescriptors() {
    return QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

bool hasChildren() {
    siginfo_t info{};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

bool groupExists(pid_t group) {
    return kill(-group, 0) == 0;
}

} // namespace

class tst_QenTask : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void ends() {
        struct Row {
            const char* text;
            const char* output;
            const char* error;
            int status;
            bool wasSignalled;
        };
        for (const Row& row : {Row{"echo a; echo b >&2; exit 7", "a\n", "b\n", 7, false},
                 {"echo a; kill -USR1 $$", "a\n", "", SIGUSR1, true}, {"cat; exit 255", "", "", 255, false}}) {
            QenTask task(Bash, script(QString::fromLatin1(row.text)));
            QVERIFY(!task.launch());
            QVERIFY(task.processIdentifier() > 0);
            task.waitUntilExit();
            QVERIFY(!task.isRunning());
            // In the order that would block if the other stream were not read alongside.
            QCOMPARE(task.readStandardErrorToEnd(), row.error);
            QCOMPARE(task.readStandardOutputToEnd(), row.output);
            QCOMPARE(task.terminationStatus(), row.status);
            QCOMPARE(task.wasSignalled(), row.wasSignalled);
            QCOMPARE(task.launch().code(), EALREADY);
        }
    }

    void cannotStart() {
        for (const auto& [path, code] :
            {std::pair{u"/nonexistent/command"_s, ENOENT}, {u"/tmp"_s, EACCES}, {QString(), ENOENT}}) {
            QenTask task(path, {});
            QCOMPARE(task.launch().code(), code);
            QVERIFY(!task.isLaunched() && !task.isRunning());
            task.waitUntilExit();
            task.terminate();
            QCOMPARE(task.readStandardOutputToEnd(), QByteArray());
            QCOMPARE(task.terminationStatus(), -1);
        }
    }

    void childStartsClean() {
        const int leaky = open("/dev/null", O_RDONLY); // without close-on-exec, on purpose
        std::signal(SIGPIPE, SIG_IGN);
        sigset_t blocked;
        sigset_t before;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
        const QStringList facts =
            outputOf(u"grep -E 'Sig(Blk|Ign)' /proc/self/status; ps -o pgid= -p $$; echo $$"_s).split(u'\n');
        const QString descriptors = outputOf(u"exec ls /proc/self/fd"_s);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        std::signal(SIGPIPE, SIG_DFL);
        close(leaky);

        QVERIFY2(facts.size() >= 4, qPrintable(facts.join(u'|')));
        QCOMPARE(facts[0], u"SigBlk:\t0000000000000000"_s);
        // 32 and 33 belong to the C library, which lets nobody set them: they stay as whoever started the test left
        // them.
        constexpr quint64 Internal = 0x180000000;
        QCOMPARE(facts[1].mid(8).toULongLong(nullptr, 16) & ~Internal, quint64(0));
        QCOMPARE(facts[3], facts[2].trimmed());
        // The standard streams and the folder that the command itself reads.
        QCOMPARE(descriptors, u"0\n1\n2\n3\n"_s);
    }

    void childHasNoHabitsOfATerminal() {
        const QTemporaryDir folder;
        const QString file = folder.filePath(u"env"_s);
        const std::array names{"LANGUAGE", "COLUMNS", "PS_FORMAT", "PS_PERSONALITY"};
        for (const char* name : names)
            qputenv(name, "40");
        const QString read = outputOf(u"env"_s);
        QenTask unread(Bash, script(u"env >'%1'"_s.arg(file)), QenTask::Output::Inherited);
        unread.launch();
        unread.waitUntilExit();
        for (const char* name : names)
            qunsetenv(name);
        QFile kept(file);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        const QByteArray own = kept.readAll();
        for (const char* name : names) {
            QVERIFY2(!read.contains(QString::fromLatin1(name) + u'='), name);
            QVERIFY2(own.contains(QByteArray(name) + "=40"), "what is started for a person keeps it");
        }
    }

    void exitStatusIsKeptWhereTheParentIgnoredIt() {
        struct sigaction before {};
        struct sigaction ignoring {};
        ignoring.sa_handler = SIG_IGN;
        sigaction(SIGCHLD, &ignoring, &before);
        QenTask task(Bash, script(u"exit 7"_s));
        task.launch();
        task.waitUntilExit();
        sigaction(SIGCHLD, &before, nullptr);
        QCOMPARE(task.terminationStatus(), 7);
    }

    void packComesFirst() {
        const QTemporaryDir top;
        const QDir pack(top.filePath(u"it's here"_s));
        QVERIFY(pack.mkpath(u"."_s));
        QFile tool(pack.filePath(u"scutil"_s));
        QVERIFY(tool.open(QIODevice::WriteOnly));
        tool.write("#!/bin/sh\necho from the pack $*\n");
        tool.close();
        tool.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile(pack.filePath(u"notes"_s)).open(QIODevice::WriteOnly);
        const QStringList before = HostTools::folders();
        HostTools::setFolders({u"/nonexistent/pack"_s, pack.path()});

        for (const char* line : {"scutil 1 2", "/usr/nonexistent/scutil 1 2", "true;/usr/nonexistent/scutil 1 2|cat",
                 "/bin/echo 1 2 | { read all; /bin/true && /usr/nonexistent/scutil $all; }"})
            QCOMPARE(outputOf(QString::fromLatin1(line)), u"from the pack 1 2\n"_s);
        QCOMPARE(outputOf(u"echo /usr/nonexistent/scutil"_s), u"/usr/nonexistent/scutil\n"_s);
        QVERIFY(outputOf(u"echo $PATH"_s).startsWith(pack.path() + u':'));
        QCOMPARE(HostTools::resolved(u"/usr/nonexistent/scutil"_s), tool.fileName());
        QCOMPARE(HostTools::resolved(Bash), Bash);
        for (const char* path : {"/usr/nonexistent/other", "/usr/nonexistent/notes", "/usr/nonexistent/", ""})
            QCOMPARE(HostTools::resolved(QString::fromLatin1(path)), QString::fromLatin1(path));
        // Another package's command of that name in the system's folders is not asked; a program elsewhere is its own.
        QVERIFY(tool.rename(pack.filePath(u"true"_s)));
        for (const char* line : {"/usr/bin/true 1 2", "/bin/true 1 2"})
            QCOMPARE(outputOf(QString::fromLatin1(line)), u"from the pack 1 2\n"_s);
        QFile(top.filePath(u"true"_s)).open(QIODevice::WriteOnly);
        QCOMPARE(HostTools::resolved(top.filePath(u"true"_s)), top.filePath(u"true"_s));
        HostTools::setFolders(before);
    }

    void waitIsWokenByTheEnd() {
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 20; ++i) {
            QenTask task(Bash, script(u"sleep 0.003"_s));
            QVERIFY(!task.launch());
            QVERIFY(task.waitUntilExitWithTimeout(3, false, false));
        }
        QVERIFY2(timer.elapsed() < 1800, "polls of 0.1 s were slept through");
    }

    void escalation() {
        struct Row {
            const char* text;
            bool term;
            bool kill;
            /// The signal that ends it, or its own status; -1 when it does not end.
            int end;
        };
        const Row rows[] = {
            {"sleep 1000 | sleep 1000", true, true, SIGTERM},
            {"(trap '' TERM; sleep 1000) | sleep 1000", true, true, SIGTERM},
            {"trap '' TERM; sleep 1000", true, true, SIGKILL},
            // Who wants to tidy up gets the time.
            {"trap 'sleep 0.3; exit 77' TERM; sleep 1000 & wait", true, true, 77},
            {"trap '' TERM; sleep 1000", true, false, -1},
            {"sleep 1000", false, false, -1},
            {"sleep 1000", false, true, SIGKILL},
        };
        for (const Row& row : rows) {
            QenTask task(Bash, script(QString::fromLatin1(row.text)));
            QVERIFY(!task.launch());
            QVERIFY2(task.waitUntilExitWithTimeout(0.2, row.term, row.kill) == (row.end >= 0), row.text);
            QVERIFY2(task.terminationStatus() == row.end, row.text);
            QVERIFY(task.waitUntilExitWithTimeout(0, false, true));
            // Nor is any member of its pipeline left.
            QTRY_VERIFY2(!groupExists(task.processIdentifier()), row.text);
        }
    }

    void descendantHoldsThePipe() {
        QenTask task(Bash, script(u"echo head; sleep 1000 & echo tail >&2"_s));
        QVERIFY(!task.launch());
        QVERIFY(task.waitUntilExitWithTimeout(5, true, true));
        QCOMPARE(task.terminationStatus(), 0);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(task.readStandardOutputToEnd(), QByteArray("head\n"));
        QCOMPARE(task.readStandardErrorToEnd(), QByteArray("tail\n"));
        QVERIFY(timer.elapsed() < 5000);
        // What a command leaves running on purpose is not disturbed.
        QVERIFY(groupExists(task.processIdentifier()));
        kill(-task.processIdentifier(), SIGKILL);
    }

    void endlessDescendantIsCutOff() {
        QenTask task(Bash, script(u"yes & exit 0"_s));
        QVERIFY(!task.launch());
        QVERIFY(task.waitUntilExitWithTimeout(5, true, true));
        const QByteArray output = task.readStandardOutputToEnd();
        kill(-task.processIdentifier(), SIGKILL);
        QVERIFY(!output.isEmpty() && output.size() <= ChildPipes::StreamLimit);
    }

    void muchOutput() {
        const QString text = u"head -c 1000000 /dev/zero & head -c 700000 /dev/zero >&2; wait"_s;
        QenTask read(Bash, script(text));
        QVERIFY(!read.launch());
        QVERIFY(read.readUntilExit(20));
        QCOMPARE(read.readStandardOutputToEnd().size(), qsizetype(1000000));
        QCOMPARE(read.readStandardErrorToEnd().size(), qsizetype(700000));

        QenTask slow(Bash, script(u"echo a; exec sleep 1000"_s));
        QVERIFY(!slow.launch());
        QVERIFY(!slow.readUntilExit(0.2));
        QVERIFY(slow.waitUntilExitWithTimeout(0, true, true));
        QCOMPARE(slow.readStandardOutputToEnd(), QByteArray("a\n"));
    }

    void stoppedFromAnotherThread() {
        QenTask task(Bash, script(u"echo begun; exec sleep 1000"_s));
        QVERIFY(!task.launch());
        std::thread stopper([&task] {
            QTest::qSleep(100);
            task.terminate();
        });
        QCOMPARE(task.readStandardOutputToEnd(), QByteArray("begun\n"));
        stopper.join();
        task.waitUntilExit();
        QCOMPARE(task.terminationStatus(), SIGTERM);
    }

    void nothingIsLeftBehind() {
        outputOf(u"true"_s);
        QTemporaryDir folder;
        const QString mark = folder.filePath(u"mark"_s);
        { QenTask(Bash, script(u"sleep 0.2"_s)).launch(); } // brings the reaper's own descriptor
        QTRY_VERIFY(!hasChildren());
        const qsizetype before = openDescriptors();
        for (int i = 0; i < 30; ++i) {
            outputOf(u"echo x; echo y >&2"_s);
            QenTask(u"/nonexistent/command"_s, {}).launch();
            QenTask(Bash, script(u"true"_s)).launch();
            const QenTask never(Bash, {});
        }
        { QenTask(Bash, script(u"sleep 0.3; echo done > '%1'"_s.arg(mark))).launch(); }
        // A command outlives the object that started it, and is collected all the same.
        QTRY_VERIFY(QFileInfo(mark).size() > 0);
        QTRY_VERIFY(!hasChildren());
        QTRY_COMPARE(openDescriptors(), before);
    }
};

QTEST_GUILESS_MAIN(tst_QenTask)
#include "tst_QenTask.moc"
