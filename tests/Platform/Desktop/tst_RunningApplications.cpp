#include "BusConnection.h"
#include "PrivateBus.h"
#include "RunningApplications.h"
#include "SilentBus.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <csignal>
#include <cstdio>
#include <memory>

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using Platform::RunningApplications;
using namespace std::chrono_literals;

namespace {

const QString Identifier = u"com.example.Copies"_s;
const QString NoBus = u"unix:path=/nonexistent/bus"_s;

void say(const char* word) {
    std::puts(word);
    std::fflush(stdout);
}

/// What a copy of a program does: claims, says what it is, and as the first one says when it is brought forward, once
/// it has been told by a signal that its window is there.
int runCopy(QCoreApplication& application, const QStringList& arguments) {
    Platform::BusConnection bus(arguments.at(2), 500ms);
    RunningApplications applications({Identifier, arguments.at(3), 500ms}, bus);
    if (applications.claim() == RunningApplications::Claim::Second) {
        say("second");
        return 1;
    }
    say("first");
    QTimer::singleShot(
        arguments.at(4).toInt(), &application, [&] { applications.setActivationHandler([] { say("forward"); }); });
    QTimer::singleShot(20000, &application, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

/// A copy in a process of its own, ended with this object.
class Copy {
public:
    Copy(const QString& bus, const QString& folder, int windowAfter = 0) {
        m_process.start(QCoreApplication::applicationFilePath(), {"--copy", bus, folder, QString::number(windowAfter)});
    }
    ~Copy() {
        if (pid() > 0) // 0 would be everybody in this process's group
            ::kill(pid(), SIGCONT);
        m_process.kill();
        m_process.waitForFinished(5000);
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    pid_t pid() const { return static_cast<pid_t>(m_process.processId()); }
    /// All words said so far.
    QStringList words() {
        m_process.waitForReadyRead(0);
        m_said += QString::fromUtf8(m_process.readAllStandardOutput());
        return m_said.split(u'\n', Qt::SkipEmptyParts);
    }
    /// True when it finds that it is the second, and ends.
    bool endsAsSecond() {
        return (m_process.state() == QProcess::NotRunning || m_process.waitForFinished(10000)) &&
            m_process.exitCode() == 1 && words() == QStringList{"second"};
    }

private:
    QProcess m_process;
    QString m_said;
};

} // namespace

class TestRunningApplications : public QObject {
    Q_OBJECT

private:
    PrivateBus m_bus;
    PrivateBus m_otherBus;
    SilentBus m_silentBus;
    std::unique_ptr<QTemporaryDir> m_folder;
    QString runtime() const { return m_folder->path() + "/mav"; }

    static void addLinks() {
        QTest::addColumn<bool>("hasBus");
        QTest::newRow("session bus") << true;
        QTest::newRow("lock file") << false;
    }
    QString link() const {
        QFETCH(bool, hasBus);
        return hasBus ? m_bus.address() : NoBus;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY2(!m_bus.address().isEmpty(), "dbus-daemon does not start"); }
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void secondBringsFirstForward_data() {
        QTest::addColumn<QString>("firstBus");
        QTest::addColumn<QString>("secondBus");
        QTest::addColumn<QString>("secondFolder");
        const QString bus = m_bus.address();
        QTest::newRow("session bus") << bus << bus << "mav";
        QTest::newRow("lock file") << NoBus << NoBus << "mav";
        QTest::newRow("two buses") << bus << m_otherBus.address() << "mav";
        QTest::newRow("the first one's hangs") << m_silentBus.address() << bus << "mav";
        QTest::newRow("the second one's hangs") << bus << m_silentBus.address() << "mav";
        // As before there were locks: the name on the bus decides, too.
        QTest::newRow("two homes on one bus") << bus << bus << "elsewhere";
    }
    void secondBringsFirstForward() {
        QFETCH(QString, firstBus);
        QFETCH(QString, secondBus);
        QFETCH(QString, secondFolder);
        Copy first(firstBus, runtime());
        QTRY_COMPARE(first.words(), QStringList{"first"});
        for (int launch = 1; launch <= 2; ++launch) {
            Copy second(secondBus, m_folder->filePath(secondFolder));
            QVERIFY(second.endsAsSecond());
            QTRY_COMPARE(first.words().count("forward"), launch);
        }
    }

    void sameMoment_data() { addLinks(); }
    void sameMoment() {
        // Both start while no window exists: one of them must own, and be brought forward by the other, once.
        std::vector<std::unique_ptr<Copy>> copies;
        for (int i = 0; i < 4; ++i)
            copies.push_back(std::make_unique<Copy>(link(), runtime(), 3000));
        const auto count = [&](const QString& word) {
            qsizetype number = 0;
            for (const auto& copy : copies)
                number += copy->words().count(word);
            return number;
        };
        QTRY_COMPARE_WITH_TIMEOUT(count("first") + count("second"), 4, 15000);
        QCOMPARE(count("first"), 1);
        QTRY_COMPARE_WITH_TIMEOUT(count("forward"), 1, 15000);
        QTest::qWait(200);
        QCOMPARE(count("forward"), 1);
    }

    void hungFirst_data() { addLinks(); }
    void hungFirst() {
        Copy first(link(), runtime());
        QTRY_COMPARE(first.words(), QStringList{"first"});
        QCOMPARE(::kill(first.pid(), SIGSTOP), 0);
        QElapsedTimer timer;
        timer.start();
        Copy second(link(), runtime());
        QVERIFY(second.endsAsSecond());
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(::kill(first.pid(), SIGCONT), 0);
        QTRY_COMPARE(first.words().count("forward"), 1); // the wish was kept
    }

    void deadFirst_data() { addLinks(); }
    void deadFirst() {
        auto first = std::make_unique<Copy>(link(), runtime());
        QTRY_COMPARE(first->words(), QStringList{"first"});
        first.reset(); // killed: its socket file stays behind
        Copy next(link(), runtime());
        QTRY_COMPARE(next.words(), QStringList{"first"});
        Copy second(link(), runtime());
        QVERIFY(second.endsAsSecond());
        QTRY_COMPARE(next.words().count("forward"), 1);
    }

    void desktopCalls() {
        Copy first(m_bus.address(), runtime());
        QTRY_COMPARE(first.words(), QStringList{"first"});
        QDBusConnection bus = QDBusConnection::connectToBus(m_bus.address(), "desktop");
        int calls = 0;
        for (const auto& [method, arguments] :
            {std::pair{"Activate", QVariantList{QVariantMap()}}, {"Open", {QStringList{"file:///a"}, QVariantMap()}},
                {"ActivateAction", {"show", QVariantList(), QVariantMap()}}}) {
            auto message = QDBusMessage::createMethodCall(
                Identifier, "/com/example/Copies", "org.freedesktop.Application", method);
            message.setArguments(arguments);
            QCOMPARE(bus.call(message, QDBus::Block, 2000).type(), QDBusMessage::ReplyMessage);
            ++calls;
            QTRY_COMPARE(first.words().count("forward"), calls);
        }
        QDBusConnection::disconnectFromBus("desktop");
    }

    void foldersOfOthers() {
        // The lock's folder is made private; what cannot be made so is not used, and the program starts all the same.
        Platform::BusConnection noBus(NoBus);
        RunningApplications own({Identifier, runtime(), 200ms}, noBus);
        QCOMPARE(own.claim(), RunningApplications::Claim::First);
        struct stat facts {};
        QCOMPARE(::lstat(QFile::encodeName(runtime()).constData(), &facts), 0);
        QCOMPARE(facts.st_mode & 0777, 0700u);
        const QString link = m_folder->path() + "/link";
        QVERIFY(QFile::link(runtime(), link));
        RunningApplications other({Identifier, link, 200ms}, noBus);
        QTest::ignoreMessage(QtInfoMsg, QRegularExpression("no session bus and no lock"));
        QCOMPARE(other.claim(), RunningApplications::Claim::First);
    }

    void holderWithoutSocket() {
        // A first copy that hangs between lock and socket: the second one waits its limit and ends.
        QVERIFY(QDir().mkpath(runtime()));
        QFile lock(runtime() + u'/' + Identifier + u'.' + QSysInfo::machineHostName() + ".lock");
        QVERIFY(lock.open(QIODevice::ReadWrite));
        QCOMPARE(::flock(lock.handle(), LOCK_EX | LOCK_NB), 0);
        QElapsedTimer timer;
        timer.start();
        Platform::BusConnection noBus(NoBus);
        RunningApplications second({Identifier, runtime(), 300ms}, noBus);
        QCOMPARE(second.claim(), RunningApplications::Claim::Second);
        QVERIFY(timer.elapsed() >= 300 && timer.elapsed() < 3000);
    }
};

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (application.arguments().value(1) == "--copy")
        return runCopy(application, application.arguments());
    TestRunningApplications test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_RunningApplications.moc"
