#include "ClientWorld.h"

#include "QenTask.h"
#include "QuitSequence.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

using Platform::Error;
using namespace std::chrono_literals;

Q_DECLARE_METATYPE(std::optional<int>)
Q_DECLARE_METATYPE(std::optional<QJsonObject>)

class tst_QuitSequence : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void alwaysEndsInOneTerminate_data() {
        QTest::addColumn<bool>("running");
        QTest::addColumn<std::optional<int>>("access");
        QTest::addColumn<std::optional<QJsonObject>>("stop");
        QTest::addColumn<QString>("line");
        const std::optional<int> no;
        const std::optional<QJsonObject> silence;
        const auto answer = [](const QJsonObject& object) { return std::optional(object); };
        const QString failed = u"[appdelegate] QenCloud Vindor Stop Fail:code = "_s;
        QTest::newRow("component is not running") << false << no << silence << "";
        QTest::newRow("no access") << true << std::optional(5) << silence
                                   << "[appdelegate] QenCloud Vindor Access Fail!!!";
        QTest::newRow("stopped") << true << std::optional(0) << answer({{"code", 0}})
                                 << "[appdelegate] QenCloud Vindor Stop Success!!!";
        QTest::newRow("refused") << true << std::optional(0) << answer({{"code", 17}}) << failed + u"17"_s;
        QTest::newRow("no code") << true << std::optional(0) << answer({}) << failed + u"(null)"_s;
        QTest::newRow("access never answered") << true << no << silence << "";
        QTest::newRow("stop never answered") << true << std::optional(0) << silence << "";
    }
    void alwaysEndsInOneTerminate() {
        QFETCH(bool, running);
        QFETCH(std::optional<int>, access);
        QFETCH(std::optional<QJsonObject>, stop);
        QFETCH(QString, line);
        ClientFolder folder;
        const QString component = folder.file(u"ZelVPN"_s);
        QVERIFY(QFile::copy(u"/bin/sleep"_s, component));
        Platform::QenTask process(component, {u"60"_s});
        if (running)
            QVERIFY(!process.launch());
        // A call that has no answer stays without one; an error beside the answer changes nothing.
        const auto agent = [access, stop](const AgentStopped& done) {
            if (access && *access != 0)
                done({.access = *access});
            else if (access && stop)
                done({.access = 0, .answer = *stop, .error = Error(u"d"_s, 1)});
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
