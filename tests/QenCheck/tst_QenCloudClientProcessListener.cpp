#include "QenCloudClientProcessListener.h"

#include "QenLogHelper.h"
#include "TestFiles.h"

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

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
        QenLogHelper log(folder.filePath(u"logs"_s), folder.filePath(u"record"_s));
        const auto is = [&state](const char* what) { return state.contains(QLatin1StringView(what)); };
        bool signedIn = is("signed-in");
        QStringList calls;
        { // its end waits for the background check
            QenCloudClientProcessListener listener(
                {.getNetworkType = [&] { calls << u"network"_s; },
                    .signIn = [&] { return signedIn ? quint64(7) : quint64(0); },
                    .isCheckAndShow = [&] { return is("shown"); },
                    .checkXPCServiceIsReInital = [&] { return is("new"); },
                    .isTicketServiceRefusing = [&] { return is("refuses"); },
                    .existZelVPN =
                        [&] {
                            calls << u"stop vpn"_s;
                            signedIn = !is("leaves");
                        },
                    .runTicketXPC = [&] { calls << u"run ticket"_s; },
                    .reloadZelVPN = [&] { calls << u"reload"_s; },
                    .vpnProcessIds = [&](Platform::Error*) { return is("vpn") ? u"4711\n"_s : QString(); }},
                log);
            listener.checkNgnServerAndLoad();
        }
        log.drain();
        QTEST(calls, "calls");
        const QString text = QString::fromUtf8(contentOf(folder.filePath(u"logs/QenCloud-Info-1.log"_s)));
        for (const QString& line : lines)
            QVERIFY2(text.contains(line), qPrintable(line + text));
        QCOMPARE(text.count(u'\n') == 0, lines.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_QenCloudClientProcessListener)
#include "tst_QenCloudClientProcessListener.moc"
