#include "Reachability.h"

#include <QtTest>

#include <sys/socket.h>
#include <unistd.h>

using namespace Platform;
using Kind = NetworkLink::Kind;
using Status = ReachabilityStatus;

namespace {

const QHostAddress Lan("192.168.1.5");
const QHostAddress Cell("10.64.0.9");
const NetworkLink Loopback{"lo", Kind::Loopback, true, {QHostAddress("127.0.0.1")}};
const NetworkLink Wire{"eth0", Kind::Fixed, true, {Lan, QHostAddress("2001:db8::5")}};
const NetworkLink DeadWire{"eth0", Kind::Fixed, false, {Lan}};
const NetworkLink Bare{"eth1", Kind::Fixed, true, {}};
const NetworkLink Modem{"wwan0", Kind::Mobile, true, {Cell}};
const NetworkLink Container{"docker0", Kind::Virtual, true, {QHostAddress("172.17.0.1")}};

} // namespace

class TestReachability : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void decision() {
        struct Row {
            const char* name;
            bool hasTarget;
            QHostAddress source;
            QList<NetworkLink> links;
            Status expected;
        };
        const Row rows[] = {
            {"route to the server", true, Lan, {Loopback, Wire, Modem}, Status::Wired},
            {"server by mobile", true, Cell, {Wire, Modem}, Status::Mobile},
            {"no route to the server", true, {}, {Wire, Modem}, Status::NotReachable},
            {"route over a dead link", true, Lan, {DeadWire, Modem}, Status::NotReachable},
            {"server on this machine", true, QHostAddress("127.0.0.1"), {Loopback}, Status::Wired},
            {"server over a tunnel", true, QHostAddress("172.17.0.1"), {Container}, Status::Wired},
            {"default route", false, Lan, {Wire, Modem}, Status::Wired},
            {"default route by mobile", false, Cell, {Wire, Modem}, Status::Mobile},
            {"no route but a network", false, {}, {Loopback, Wire}, Status::Wired},
            {"no route but a mobile network", false, {}, {Modem}, Status::Mobile},
            {"dead default, live mobile", false, Lan, {DeadWire, Modem}, Status::Mobile},
            {"unplugged", false, {}, {Loopback, DeadWire}, Status::NotReachable},
            {"no address", false, {}, {Loopback, Bare}, Status::NotReachable},
            {"containers only", false, {}, {Loopback, Container}, Status::NotReachable},
            {"nothing", false, {}, {}, Status::NotReachable},
        };
        for (const Row& row : rows)
            QVERIFY2(statusFor({true, row.hasTarget, row.source, row.links}) == row.expected, row.name);
        QCOMPARE(statusFor({false, false, Lan, {Wire}}), Status::Unknown);
    }

    void realSystem() {
        const NetworkFacts own = readNetworkFacts(QHostAddress("127.0.0.1"));
        QVERIFY(own.isKnown && own.hasTarget);
        QCOMPARE(own.source, QHostAddress("127.0.0.1"));
        QCOMPARE(statusFor(own), Status::Wired);
        // Nothing routes there, whatever the network of this machine is.
        QCOMPARE(statusFor(readNetworkFacts(QHostAddress("255.255.255.255"))), Status::NotReachable);
        const NetworkFacts anywhere = readNetworkFacts({});
        QVERIFY(anywhere.isKnown && !anywhere.hasTarget);
        for (const NetworkLink& link : anywhere.links)
            QCOMPARE(link.kind == Kind::Loopback, link.name == "lo");
    }

    void followsTheKernel() {
        Reachability monitor; // the kernel's own messages
        monitor.setTarget("127.0.0.1");
        QList<int> told;
        monitor.start([&](Status status) { told.append(int(status)); });
        QVERIFY(told.isEmpty()); // from the event loop only
        QTRY_COMPARE(told, QList<int>{2});
        monitor.setTarget("255.255.255.255");
        QTRY_COMPARE(told, (QList<int>{2, 0}));
    }

    void changesCount() {
        int ends[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends), 0);
        NetworkFacts facts{true, false, Lan, {Wire}};
        int asked = 0;
        Reachability monitor(
            [&](const QHostAddress&) {
                ++asked;
                return facts;
            },
            ends[0]);
        QList<int> told;
        monitor.start([&](Status status) { told.append(int(status)); });
        QTRY_COMPARE(told, QList<int>{2});
        facts.links = {DeadWire};
        const int atFirst = asked;
        for (int i = 0; i < 10; ++i) { // a burst is read as one change, or two on a slow machine
            QCOMPARE(::send(ends[1], "changed", 7, 0), 7);
            QTest::qWait(5);
        }
        QTRY_COMPARE(told, (QList<int>{2, 0}));
        QVERIFY2(asked - atFirst <= 2, qPrintable(QString::number(asked)));
        const int before = asked;
        QCOMPARE(::send(ends[1], "changed", 7, 0), 7); // a change that changes nothing is not told
        QTRY_VERIFY(asked > before);
        QCOMPARE(told.size(), 2);
        ::close(ends[1]);
    }
};

QTEST_GUILESS_MAIN(TestReachability)
#include "tst_Reachability.moc"
