#include "SilentBus.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr int Limit = 30000;

/// One user's folders, in which the program is started.
class Home {
public:
    Home() {
        m_environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"home", "run", "root"})
            QDir(m_folder.path()).mkdir(QString::fromLatin1(name));
        QFile::setPermissions(path("run"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_environment.insert(u"HOME"_s, path("home"));
        m_environment.insert(u"XDG_RUNTIME_DIR"_s, path("run"));
        m_environment.insert(u"MAV_ROOT"_s, path("root"));
        m_environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        // No session bus: copies find each other by the runtime folder.
        m_environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/no/such/bus"_s);
    }
    void set(const QString& variable, const QString& value) { m_environment.insert(variable, value); }
    void unset(const QString& variable) { m_environment.remove(variable); }
    void prepare(QProcess& process) {
        process.setProcessEnvironment(m_environment);
        process.setProgram(QStringLiteral(MAV_PROGRAM));
        process.setProcessChannelMode(QProcess::MergedChannels);
    }
    /// @returns the exit status, -1 for a crash or none in time
    int run(const QStringList& arguments) {
        QProcess process;
        prepare(process);
        process.setArguments(arguments);
        process.start();
        if (!process.waitForFinished(Limit)) {
            process.kill();
            process.waitForFinished();
            return -1;
        }
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    QString log() const {
        QString text;
        const QDir logs(path("home") + u"/Library/Logs/QenCloud/Logs"_s);
        for (const QString& name : logs.entryList(QDir::Files)) {
            QFile file(logs.filePath(name));
            if (file.open(QIODevice::ReadOnly))
                text += QString::fromUtf8(file.readAll());
        }
        return text;
    }
    bool hasStarted() const { return log().contains(u"----------start Mav-----------"_s); }

private:
    QString path(const char* name) const { return m_folder.filePath(QString::fromLatin1(name)); }
    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
};

} // namespace

class tst_Launch : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void foreignArgumentIsLoggedAndEnds() {
        for (const QString& argument : {u"--help"_s, u"-Agent"_s, u"-platform"_s, u"-style"_s, QString(), u"中文"_s}) {
            Home home;
            QCOMPARE(home.run({argument, u"-agent"_s}), 0);
            QVERIFY2(home.log().contains(u" run app argv "_s + argument), qPrintable(home.log()));
            QVERIFY(!home.hasStarted());
        }
    }

    void hangingBusHoldsNothingUp() {
        const SilentBus bus;
        QProcess display;
        display.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s});
        QVERIFY2(display.waitForReadyRead(Limit), "Xvfb does not start");
        const QString screen = u':' + QString::fromUtf8(display.readLine()).trimmed();
        for (const QString& platform : {u"offscreen"_s, u"xcb"_s}) {
            Home home;
            home.set(u"DBUS_SESSION_BUS_ADDRESS"_s, bus.address());
            home.set(u"DISPLAY"_s, screen);
            home.set(u"QT_QPA_PLATFORM"_s, platform);
            QProcess process;
            home.prepare(process);
            QElapsedTimer timer;
            timer.start();
            process.start();
            // The bus's own limit is two seconds, the toolkit's would be 25 for each of its questions.
            QTRY_VERIFY_WITH_TIMEOUT(home.hasStarted(), 15000);
            QTest::qWait(1000);
            QCOMPARE(home.run({}), 1);
            QVERIFY2(timer.elapsed() < 15000, qPrintable(QString::number(timer.elapsed())));
            // Its event loop runs: it hears the signal.
            process.terminate();
            QVERIFY(process.waitForFinished(10000));
            QCOMPARE(process.exitCode(), 0);
        }
        display.terminate();
        display.waitForFinished();
    }

    void secondCopyEndsWithOne() {
        for (const auto& [first, signal] :
            {std::pair(QStringList(), SIGTERM), {QStringList{u"-agent"_s, u"x"_s}, SIGINT}}) {
            Home home;
            QProcess process;
            home.prepare(process);
            process.setArguments(first);
            process.start();
            QTRY_VERIFY_WITH_TIMEOUT(home.hasStarted(), Limit);
            QCOMPARE(home.run({}), 1);
            // Nor does one need a screen to see that it is the second, or the first one's session bus.
            home.set(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
            home.unset(u"DISPLAY"_s);
            home.set(u"XDG_RUNTIME_DIR"_s, u"/nonexistent"_s);
            QCOMPARE(home.run({}), 1);
            // Whether another copy runs is asked before the arguments are looked at, and nothing is logged.
            QCOMPARE(home.run({u"--help"_s}), 1);
            QVERIFY(!home.log().contains(u"run app argv"_s));
            QCOMPARE(process.state(), QProcess::Running);
            // None means that it has ended, and 0 would be this test and its group.
            QVERIFY(process.processId() > 0);
            QCOMPARE(::kill(static_cast<pid_t>(process.processId()), signal), 0);
            QVERIFY(process.waitForFinished(Limit));
            QCOMPARE(process.exitStatus(), QProcess::NormalExit);
            QCOMPARE(process.exitCode(), 0);
        }
    }
};

QTEST_GUILESS_MAIN(tst_Launch)
#include "tst_Launch.moc"
