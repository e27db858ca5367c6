#include "QenCloudClientProcessListener.h"

#include "QenLogHelper.h"

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

    bool signedIn = false;
    bool shown = false;
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
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QStringList>("lines");
        const QStringList checked{
            "NGN Server is existed", "start check zelvpn ....", "end check zelvpn ifload ....result:"};
        const QStringList reloaded{"NGN Server reload ........................"};
        const auto row = [](const char* name, const char* state, const QStringList& calls, const QStringList& lines) {
            QTest::newRow(name) << QString::fromLatin1(state) << QStringList("network") + calls << lines;
        };
        row("signed out", "shown new", {}, {});
        row("not confirmed yet", "signed-in new", {}, {});
        row("service is new", "signed-in shown new", {"stop vpn", "run ticket", "reload"}, reloaded);
        row("component is gone", "signed-in shown", {"reload"},
            checked + QStringList{"zelvpn exit reload zelvpn....."});
        row("all is well", "signed-in shown vpn", {}, checked + QStringList{"Qen ZelVPN existed...."});
        row("who signs out meanwhile gets nothing", "signed-in shown new leaves", {"stop vpn"}, reloaded);
        row("a service that refuses takes the VPN down once", "signed-in shown new refuses", {"run ticket"}, reloaded);
    }
    void oneTick() {
        QFETCH(QString, state);
        QFETCH(QStringList, lines);
        QTemporaryDir folder;
        Client client;
        client.signedIn = state.contains("signed-in");
        client.shown = state.contains("shown");
        client.serviceIsNew = state.contains("new");
        client.refuses = state.contains("refuses");
        client.signsOutMeanwhile = state.contains("leaves");
        client.vpnRuns = state.contains("vpn");
        QenLogHelper log(folder.filePath(u"logs"_s), folder.filePath(u"record"_s));
        { // its end waits for the background check
            QenCloudClientProcessListener listener(client.world(), log);
            listener.checkNgnServerAndLoad();
        }
        log.drain();
        QTEST(client.calls(), "calls");
        QFile file(folder.filePath(u"logs/QenCloud-Info-1.log"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        for (const QString& line : lines)
            QVERIFY2(text.contains(line), qPrintable(line + text));
        QCOMPARE(text.count(u'\n') == 0, lines.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_QenCloudClientProcessListener)
#include "tst_QenCloudClientProcessListener.moc"
