#include "QenCloudClientProcessListener.h"

#include "QenLogHelper.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <mutex>

using namespace Qt::StringLiterals;

namespace {

/// What a listener asks of the client, answered as a row of the table says, and noted.
class Client {
public:
    QenCloudClientProcessListener::World world() {
        return {.getNetworkType = [this] { note("network"); },
            .signIn = [this] { return signedIn ? quint64(7) : quint64(0); },
            .isCheckAndShow = [this] { return shown; },
            .checkXPCServiceIsReInital = [this] { return serviceIsNew; },
            .isTicketServiceRefusing = [this] { return refuses; },
            .existZelVPN =
                [this] {
                    note("stop vpn");
                    signedIn = signedIn && !signsOutMeanwhile;
                },
            .runTicketXPC = [this] { note("run ticket"); },
            .reloadZelVPN = [this] { note("reload"); },
            .vpnProcessIds = [this](Platform::Error*) { return vpnRuns ? u"4711\n"_s : QString(); }};
    }
    QStringList calls() {
        const std::lock_guard lock(m_mutex);
        QStringList calls;
        for (const char* call : m_calls)
            calls << QString::fromLatin1(call);
        return calls;
    }

    bool signedIn = true;
    bool shown = true;
    bool serviceIsNew = false;
    bool refuses = false;
    bool signsOutMeanwhile = false;
    bool vpnRuns = false;

private:
    void note(const char* call) {
        const std::lock_guard lock(m_mutex);
        m_calls.push_back(call);
    }
    std::mutex m_mutex;
    std::vector<const char*> m_calls;
};

} // namespace

class tst_QenCloudClientProcessListener : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneTick_data() {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<bool>("shown");
        QTest::addColumn<bool>("serviceIsNew");
        QTest::addColumn<bool>("vpnRuns");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QStringList>("lines");
        const QStringList checked{
            "NGN Server is existed", "start check zelvpn ....", "end check zelvpn ifload ....result:"};
        QTest::newRow("signed out") << false << true << true << false << QStringList{"network"} << QStringList{};
        QTest::newRow("not confirmed yet") << true << false << true << false << QStringList{"network"} << QStringList{};
        QTest::newRow("service is new") << true << true << true << false
                                        << QStringList{"network", "stop vpn", "run ticket", "reload"}
                                        << QStringList{"NGN Server reload ........................"};
        QTest::newRow("component is gone") << true << true << false << false << QStringList{"network", "reload"}
                                           << checked + QStringList{"zelvpn exit reload zelvpn....."};
        QTest::newRow("all is well") << true << true << false << true << QStringList{"network"}
                                     << checked + QStringList{"Qen ZelVPN existed...."};
    }
    void oneTick() {
        QFETCH(bool, signedIn);
        QFETCH(bool, shown);
        QFETCH(bool, serviceIsNew);
        QFETCH(bool, vpnRuns);
        QFETCH(QStringList, calls);
        QFETCH(QStringList, lines);
        QTemporaryDir folder;
        Client client;
        client.signedIn = signedIn;
        client.shown = shown;
        client.serviceIsNew = serviceIsNew;
        client.vpnRuns = vpnRuns;
        QenLogHelper log(folder.filePath(u"logs"_s), folder.filePath(u"record"_s));
        { // its end waits for the background check
            QenCloudClientProcessListener listener(client.world(), log);
            listener.checkNgnServerAndLoad();
        }
        log.drain();
        QCOMPARE(client.calls(), calls);
        QFile file(folder.filePath(u"logs/QenCloud-Info-1.log"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        for (const QString& line : lines)
            QVERIFY2(text.contains(line), qPrintable(line + text));
        QCOMPARE(text.count(u'\n') == 0, lines.isEmpty());
    }

    void nothingIsStartedForSomebodyWhoSignsOut() {
        Client client;
        client.serviceIsNew = true;
        client.signsOutMeanwhile = true;
        QCOMPARE(tick(client), QStringList({"network", "stop vpn"}));
    }

    void aServiceThatRefusesTakesTheVpnDownOnce() {
        Client client;
        client.serviceIsNew = true;
        client.refuses = true;
        QCOMPARE(tick(client), QStringList({"network", "run ticket"}));
    }

    void ticksOnlyOnceStarted() {
        QTemporaryDir folder;
        Client client;
        client.signedIn = false;
        QenLogHelper log(folder.filePath(u"logs"_s), folder.filePath(u"record"_s));
        QenCloudClientProcessListener listener(client.world(), log, std::chrono::milliseconds(40));
        QTest::qSleep(150);
        QVERIFY(client.calls().isEmpty());
        listener.startListening();
        QElapsedTimer timer;
        timer.start();
        while (client.calls().size() < 3 && timer.elapsed() < 5000)
            QTest::qSleep(5);
        QVERIFY(client.calls().size() >= 3);
    }

private:
    static QStringList tick(Client& client) {
        QTemporaryDir folder;
        QenLogHelper log(folder.filePath(u"logs"_s), folder.filePath(u"record"_s));
        { // its end waits for the background check
            QenCloudClientProcessListener listener(client.world(), log);
            listener.checkNgnServerAndLoad();
        }
        return client.calls();
    }
};

QTEST_GUILESS_MAIN(tst_QenCloudClientProcessListener)
#include "tst_QenCloudClientProcessListener.moc"
