#include "BusConnection.h"
#include "PrivateBus.h"
#include "SilentBus.h"

#include <QElapsedTimer>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Platform::BusConnection;

namespace {

QDBusMessage ask(const QString& method) {
    return QDBusMessage::createMethodCall(
        u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s, method);
}

} // namespace

class tst_BusConnection : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // First: the thread sanitizer no longer sees the main thread once that has started a process beside other threads.
    void findsInOrderWhileTheReceiverLives() {
        const PrivateBus daemon;
        BusConnection bus(daemon.address());
        QStringList order;
        auto gone = std::make_unique<QObject>();
        bus.find(this, [&](const QDBusConnection& found) { order << (found.isConnected() ? u"a"_s : u"absent"_s); });
        bus.find(gone.get(), [&](const QDBusConnection&) { order << u"gone"_s; });
        bus.find(this, [&](const QDBusConnection&) { order << u"b"_s; });
        gone.reset();
        QTRY_COMPARE(order, (QStringList{u"a"_s, u"b"_s}));
    }

    void hangingBusCostsTheLimit_data() {
        QTest::addColumn<bool>("signsIn");
        QTest::newRow("mute") << false;
        QTest::newRow("mute after the sign-in") << true;
    }
    void hangingBusCostsTheLimit() {
        QFETCH(bool, signsIn);
        const SilentBus silent(signsIn ? SilentBus::Until::Hello : SilentBus::Until::Ever);
        BusConnection bus(silent.address(), 300ms);
        QElapsedTimer timer;
        timer.start();
        bool isFound = false;
        bus.find(this, [&](const QDBusConnection& found) {
            QVERIFY(!found.isConnected());
            isFound = true;
        });
        QVERIFY(timer.elapsed() < 250); // the main thread goes on
        QVERIFY(QTest::qWaitFor([&] { return isFound; }, 5000));
        QVERIFY(timer.elapsed() >= 290);
        QVERIFY(bus.isSilent());
        QVERIFY(silent.peers() > 0);
        QCOMPARE(bus.call(ask(u"GetId"_s)).type(), QDBusMessage::ErrorMessage);
        // It holds up no connection to another bus.
        const PrivateBus other;
        QCOMPARE(BusConnection(other.address()).call(ask(u"GetId"_s)).type(), QDBusMessage::ReplyMessage);
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    }

    void stoppedBusIsLeftAfterTheLimitOfACall() {
        const PrivateBus daemon;
        BusConnection bus(daemon.address());
        QCOMPARE(bus.call(ask(u"GetId"_s)).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(kill(daemon.pid(), SIGSTOP), 0);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(bus.call(ask(u"GetId"_s), 400ms).type(), QDBusMessage::ErrorMessage);
        QVERIFY2(timer.elapsed() < 3000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(kill(daemon.pid(), SIGCONT), 0);
        QCOMPARE(bus.call(ask(u"GetId"_s)).type(), QDBusMessage::ReplyMessage);
    }
};

QTEST_GUILESS_MAIN(tst_BusConnection)
#include "tst_BusConnection.moc"
