#include "QenCloudClientProcessListener.h"

#include "QenLogHelper.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_QenCloudClientProcessListener : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneTick_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QStringList>("calls");
        const auto row = [](const char* name, const char* state, const QStringList& calls) {
            QTest::newRow(name) << QString::fromLatin1(state) << QStringList("network") + calls;
        };
        row("signed out", "shown new", {});
        row("not confirmed yet", "signed-in new", {});
        row("service is new", "signed-in shown new", {"stop vpn", "run ticket", "reload"});
        row("component is gone", "signed-in shown", {"reload"});
        row("all is well", "signed-in shown vpn", {});
        row("who signs out meanwhile gets nothing", "signed-in shown new leaves", {"stop vpn"});
        row("a service that refuses takes the VPN down once", "signed-in shown new refuses", {"run ticket"});
    }
    void oneTick() {
        QFETCH(QString, state);
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
        QTEST(calls, "calls");
    }
};

QTEST_GUILESS_MAIN(tst_QenCloudClientProcessListener)
#include "tst_QenCloudClientProcessListener.moc"
