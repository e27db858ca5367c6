#include "QenCloudTicketHelper.h"

#include "Deployment.h"
#include "PrivateBus.h"
#include "QenLogHelper.h"
#include "SilentBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <future>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The ticket service as the agent's side offers it, on a bus of the test's own.
class TicketService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.qencloud.mav.QenCloud_ticketProtocol")

public:
    bool runs = true;
    bool isNew = false;
    bool replies = true;
    QStringList calls;

public Q_SLOTS:
    bool startRunProxy() {
        calls << u"start"_s;
        return runs;
    }
    bool checkIsNewConnection(double time, const QDBusMessage& message) {
        calls << u"check %1"_s.arg(time > 1.6e9);
        if (!replies)
            message.setDelayedReply(true);
        return isNew;
    }
    void closeXPCAndProxy() { calls << u"close"_s; }
};

class tst_QenCloudTicketHelper : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        m_bus = std::make_unique<PrivateBus>();
        QDBusConnection connection = QDBusConnection::connectToBus(m_bus->address(), u"service"_s);
        QVERIFY(connection.isConnected());
        QVERIFY(connection.registerObject(u"/"_s, &m_service, QDBusConnection::ExportAllSlots));
        QVERIFY(connection.registerService(Deployment::TicketServiceName));
    }
    void cleanupTestCase() { QDBusConnection::disconnectFromBus(u"service"_s); }
    void init() {
        m_service.isNew = false;
        m_service.replies = true;
        m_service.calls.clear();
        m_client = std::make_unique<Client>();
    }

    void answersAreNoticed_data() {
        QTest::addColumn<bool>("isNew");
        QTest::newRow("new, starts") << true;
        QTest::newRow("known, refuses") << false;
    }
    void answersAreNoticed() {
        QFETCH(bool, isNew);
        m_service.isNew = m_service.runs = isNew;
        QenCloudTicketHelper helper(m_client->log, m_bus->address());
        QCOMPARE(check(helper), isNew);
        QCOMPARE(m_service.calls, QStringList{u"check 1"_s});

        helper.runTicketXPC();
        const QString line = u"[QenCloudTicketHelper] QenCloud Service run "_s + (isNew ? u"Success"_s : u"Fail"_s);
        QTRY_VERIFY(m_client->logText().contains(line));
        QCOMPARE(m_service.calls.last(), u"start"_s);

        helper.closeNgnServerXpc();
        QVERIFY(!helper.XPCConnection());
        QTRY_COMPARE(m_service.calls.last(), u"close"_s);
        // Closed: a new connection is the answer, at once and without a question.
        QVERIFY(check(helper));
        QVERIFY(helper.XPCConnection());
        QCOMPARE(m_service.calls.last(), u"close"_s);
    }

    void silentServiceCostsTheLimit() {
        m_service.replies = false;
        QenCloudTicketHelper helper(m_client->log, m_bus->address(), std::chrono::milliseconds(400));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!check(helper));
        // The bus measures its time-outs coarsely.
        QVERIFY(timer.elapsed() >= 300 && timer.elapsed() < 3000);
    }

    void missingBusIsAServiceThatDoesNotReply_data() {
        QTest::addColumn<bool>("hangs");
        QTest::newRow("absent") << false;
        QTest::newRow("hangs") << true;
    }
    void missingBusIsAServiceThatDoesNotReply() {
        QFETCH(bool, hangs);
        const SilentBus silent;
        QElapsedTimer timer;
        timer.start();
        QenCloudTicketHelper helper(m_client->log, hangs ? silent.address() : u"unix:path=/no/such/bus"_s);
        helper.runTicketXPC();
        helper.closeNgnServerXpc();
        helper.runTicketXPC();
        // Whoever asks, be it the network thread, goes on.
        QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(!check(helper));
        QTRY_VERIFY_WITH_TIMEOUT(
            m_client->logText().contains(u"[QenCloudTicketHelper] QenCloud Service gave no reply"_s), 15000);
        QVERIFY(!m_client->logText().contains(u"run Fail"_s));
    }

    void busThatComesBackIsUsedAgain() {
        const QString address = u"unix:path="_s + m_client->folder.filePath(u"bus"_s);
        m_service.isNew = true;
        QenCloudTicketHelper helper(m_client->log, address);
        for (int round = 0; round < 2; ++round) {
            QVERIFY(!check(helper));
            QProcess bus;
            bus.start(u"dbus-daemon"_s, {"--session", "--nofork", "--print-address", "--address=" + address});
            QVERIFY(bus.waitForStarted() && bus.waitForReadyRead(5000));
            QDBusConnection service = QDBusConnection::connectToBus(address, u"back"_s);
            QVERIFY(service.registerObject(u"/"_s, &m_service, QDBusConnection::ExportAllSlots));
            QVERIFY(service.registerService(Deployment::TicketServiceName));
            QVERIFY(check(helper));
            QDBusConnection::disconnectFromBus(u"back"_s);
            bus.kill();
            QVERIFY(bus.waitForFinished());
            QFile::remove(m_client->folder.filePath(u"bus"_s));
        }
    }

private:
    /// What a helper writes to.
    struct Client {
        QString logText() {
            log.drain();
            QFile file(folder.filePath(u"logs/QenCloud-Info-1.log"_s));
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        }
        QTemporaryDir folder;
        QenLogHelper log{folder.filePath(u"logs"_s), folder.filePath(u"record"_s)};
    };
    /// Asks from another thread, as the client does: the service lives on this one.
    static bool check(QenCloudTicketHelper& helper) {
        auto answer = std::async(std::launch::async, [&helper] { return helper.checkXPCServiceIsReInital(); });
        return QTest::qWaitFor([&] { return answer.wait_for(0s) == std::future_status::ready; }, 15000) && answer.get();
    }

    std::unique_ptr<PrivateBus> m_bus;
    TicketService m_service;
    std::unique_ptr<Client> m_client;
};

QTEST_GUILESS_MAIN(tst_QenCloudTicketHelper)
#include "tst_QenCloudTicketHelper.moc"
