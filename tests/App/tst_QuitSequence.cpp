#include "ClientWorld.h"

#include "QenTask.h"
#include "QuitSequence.h"

using namespace Qt::StringLiterals;

using namespace std::chrono_literals;

Q_DECLARE_METATYPE(std::optional<AgentStop>)

class tst_QuitSequence : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void alwaysEndsInOneTerminate_data() {
        QTest::addColumn<bool>("running");
        QTest::addColumn<std::optional<AgentStop>>("stop");
        QTest::addColumn<QString>("line");
        // An error beside the answer changes nothing.
        const auto answered = [](const QJsonObject& answer) {
            return std::optional(AgentStop{.answer = answer, .error = Platform::Error(u"d"_s, 1)});
        };
        const std::optional<AgentStop> never;
        const QString head = u"[appdelegate] QenCloud Vindor "_s;
        QTest::newRow("component is not running") << false << never << QString();
        QTest::newRow("never answered") << true << never << QString();
        QTest::newRow("no access") << true << std::optional(AgentStop{.access = 5}) << head + u"Access Fail!!!"_s;
        QTest::newRow("stopped") << true << answered({{"code", 0}}) << head + u"Stop Success!!!"_s;
        QTest::newRow("refused") << true << answered({{"code", 17}}) << head + u"Stop Fail:code = 17"_s;
        QTest::newRow("no code") << true << answered({}) << head + u"Stop Fail:code = (null)"_s;
    }
    void alwaysEndsInOneTerminate() {
        QFETCH(bool, running);
        QFETCH(std::optional<AgentStop>, stop);
        QFETCH(QString, line);
        ClientFolder folder;
        const QString component = folder.file(u"ZelVPN"_s);
        QVERIFY(QFile::copy(u"/bin/sleep"_s, component));
        Platform::QenTask process(component, {u"60"_s});
        if (running)
            QVERIFY(!process.launch());
        const auto agent = [stop](const AgentStopped& done) {
            if (stop)
                done(*stop);
        };
        ClientWorld world(folder, {}, agent, component);
        std::atomic<int> terminated = 0;
        runQuitSequence(
            world.helper, world.log, world.vpn, [&terminated] { ++terminated; }, 1500ms);
        QTRY_COMPARE_WITH_TIMEOUT(terminated.load(), 1, 10000);
        QTest::qWait(1600);
        QCOMPARE(terminated.load(), 1);
        const QString log = world.logText();
        QVERIFY2(line.isEmpty() ? !log.contains(u"[appdelegate]"_s) : log.contains(line), qPrintable(log));
        QVERIFY(process.waitUntilExitWithTimeout(0, true, true));
    }
};

QTEST_GUILESS_MAIN(tst_QuitSequence)
#include "tst_QuitSequence.moc"
