#include "ArchiveStore.h"
#include "Deployment.h"
#include "QenCloudClientProcessListener.h"
#include "QenCloudTicketHelper.h"
#include "QenLogHelper.h"
#include "TaskHelper.h"
#include "VpnComponent.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <future>

using namespace Qt::StringLiterals;

namespace {

constexpr int limitMs = 20000;

bool writeFile(const QString& path, const QByteArray& content) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

/// The reference agent and a session bus of its own, and what the client needs to meet them.
class AgentWorld {
public:
    AgentWorld() {
        QDir().mkpath(m_folder.filePath(u"services"_s));
        QDir().mkpath(userState());
    }
    ~AgentWorld() {
        stop(m_agent);
        stop(m_bus);
    }

    /// @param settings  the agent's JSON file
    bool start(const QByteArray& settings) {
        return writeFile(m_folder.filePath(u"agent.json"_s), settings) && startAgent() && startBus();
    }
    bool startAgent() {
        m_agent.start(QStringLiteral(MAV_REFERENCE_AGENT),
            {u"--root"_s, m_folder.filePath(u"root"_s), u"--home"_s, m_folder.filePath(u"home"_s), u"--file"_s,
                m_folder.filePath(u"agent.json"_s), u"--services"_s, m_folder.filePath(u"services"_s)});
        return !waitForAgent("ready").isEmpty();
    }
    void stopAgent() { stop(m_agent); }
    /// Waits for the line @p text of the agent after the last one waited for. @return what follows the text
    QByteArray waitForAgent(const QByteArray& text) {
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < limitMs) {
            while (m_agent.canReadLine()) {
                const QByteArray line = m_agent.readLine().trimmed();
                if (line.startsWith(text))
                    return line.mid(text.size()).trimmed() + ' ';
            }
            QTest::qWait(10); // the client's own timers and the bus go on meanwhile
        }
        return {};
    }

    QString address() const { return m_address; }
    QString portFile() const { return m_folder.filePath(u"root/Library/Application Support/QenCloud/vindor.port"_s); }
    QString vpn() const { return m_folder.filePath(u"root/Applications/Mav/Mav.app/Contents/GWD/ZelVPN"_s); }
    QString logFolder() const { return m_folder.filePath(u"logs"_s); }
    QString logRecord() const { return m_folder.filePath(u"record"_s); }
    bool requestPolicy() const {
        return archiveRootObject(u"userPolicyRequest"_s, userState() + u"/userpolicy.archive"_s);
    }

private:
    QString userState() const { return m_folder.filePath(u"home/Library/Application Support/QenCloudL"_s); }
    bool startBus() {
        const QString configuration = m_folder.filePath(u"bus.conf"_s);
        const QString text =
            u"<busconfig><type>session</type><listen>unix:dir=%1</listen><servicedir>%1/services</servicedir>"
            "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/><allow "
            "eavesdrop=\"true\"/><allow own=\"*\"/></policy>"
            "</busconfig>"_s;
        if (!writeFile(configuration, text.arg(m_folder.path()).toUtf8()))
            return false;
        m_bus.setStandardErrorFile(QProcess::nullDevice());
        m_bus.start(u"dbus-daemon"_s, {u"--config-file="_s + configuration, u"--nofork"_s, u"--print-address"_s});
        if (!m_bus.waitForReadyRead(limitMs))
            return false;
        m_address = QString::fromUtf8(m_bus.readLine()).trimmed();
        return !m_address.isEmpty();
    }
    static void stop(QProcess& process) {
        process.terminate();
        if (process.state() != QProcess::NotRunning && !process.waitForFinished(limitMs)) {
            process.kill();
            process.waitForFinished(limitMs);
        }
    }

    QTemporaryDir m_folder;
    QProcess m_agent;
    QProcess m_bus;
    QString m_address;
};

/// What the agent's interface said to an access and to two stops with what that gave; a failure is -1.
QList<int> accessAndStop(VindorClient& client) {
    const auto accessed = std::make_shared<std::promise<int>>();
    client.startRequestAccess([accessed](int status) { accessed->set_value(status); });
    QList<int> codes{accessed->get_future().get()};
    for (int i = 0; i < 2; ++i) {
        const auto stopped = std::make_shared<std::promise<int>>();
        client.stopSmartAgent([stopped](const QJsonObject& answer, const Platform::Error& error) {
            stopped->set_value(error ? -1 : answer.value(u"code"_s).toInt(-2));
        });
        codes << stopped->get_future().get();
    }
    return codes;
}

bool check(QenCloudTicketHelper& helper) {
    return std::async(std::launch::async, [&helper] { return helper.checkXPCServiceIsReInital(); }).get();
}

uint serviceProcess(const QString& address) {
    const QString name = u"asking"_s;
    QDBusConnection bus = QDBusConnection::connectToBus(address, name);
    const QDBusReply<uint> pid = bus.interface()->servicePid(Deployment::TicketServiceName);
    QDBusConnection::disconnectFromBus(name);
    return pid.isValid() ? pid.value() : 0;
}

} // namespace

/// The client's ends of the agent's links against the agent itself.
class tst_AgentLinks : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void accessAndStopAnswerAsTold_data() {
        QTest::addColumn<QByteArray>("settings");
        QTest::addColumn<QList<int>>("codes");
        // A token is good for one stop.
        QTest::newRow("granted") << QByteArray("{}") << QList<int>{0, 0, -1};
        QTest::newRow("access refused") << QByteArray(R"({"vindor": {"access": 7}})") << QList<int>{7, -1, -1};
        QTest::newRow("stop refused") << QByteArray(R"({"vindor": {"stop": 3}})") << QList<int>{0, 3, -1};
    }
    void accessAndStopAnswerAsTold() {
        QFETCH(QByteArray, settings);
        QFETCH(QList<int>, codes);
        AgentWorld world;
        QVERIFY(world.start(settings));
        QVERIFY(world.requestPolicy());
        QVERIFY(!world.waitForAgent("started ZelVPN").isEmpty());
        VindorClient client(world.portFile());
        QCOMPARE(accessAndStop(client), codes);
        if (codes[1] == 0)
            QVERIFY(!world.waitForAgent("stopped ZelVPN").isEmpty());

        // Ended and started again: the port goes and comes, and the client follows.
        world.stopAgent();
        QVERIFY(!QFile::exists(world.portFile()));
        QVERIFY(!QFile::exists(world.vpn()));
        QCOMPARE(accessAndStop(client)[0], int(AgentStop::NoAccess));
        QVERIFY(world.startAgent());
        QCOMPARE(accessAndStop(client), codes);
    }

    void aServiceIsNewUntilItsProxyRuns_data() {
        QTest::addColumn<QByteArray>("settings");
        QTest::addColumn<bool>("isNew");
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("isNewAfterwards");
        QTest::newRow("starts") << QByteArray("{}") << true << u"Service run Success"_s << false;
        QTest::newRow("refuses") << QByteArray(R"({"ticketService": {"starts": false}})") << true
                                 << u"Service run Fail"_s << true;
        QTest::newRow("silent") << QByteArray(R"({"ticketService": {"silent": true}})") << false
                                << u"Service gave no reply"_s << false;
    }
    void aServiceIsNewUntilItsProxyRuns() {
        QFETCH(QByteArray, settings);
        QFETCH(bool, isNew);
        QFETCH(QString, line);
        QFETCH(bool, isNewAfterwards);
        AgentWorld world;
        QVERIFY(world.start(settings));
        QenLogHelper log(world.logFolder(), world.logRecord());
        QenCloudTicketHelper helper(log, world.address(), std::chrono::milliseconds(1500));
        QCOMPARE(check(helper), isNew); // the first question starts the service
        helper.runTicketXPC();
        QTRY_VERIFY_WITH_TIMEOUT(logText(world, log).contains(line), limitMs);
        QCOMPARE(check(helper), isNewAfterwards);
    }

    void theWatchdogBringsBothBack() {
        AgentWorld world;
        QVERIFY(world.start("{}"));
        QenLogHelper log(world.logFolder(), world.logRecord());
        QenCloudTicketHelper ticket(log, world.address());
        VindorClient client(world.portFile());
        const VpnComponent vpn(
            {.tasks = TaskHelper::sharedInstance(), .executable = world.vpn(), .accessAndStop = [](const auto&) {}});
        std::atomic<bool> signedIn{true};
        QenCloudClientProcessListener listener(
            {.getNetworkType = [] {},
                .signIn = [&signedIn] { return signedIn ? quint64(1) : quint64(0); },
                .isCheckAndShow = [] { return true; },
                .checkXPCServiceIsReInital = [&ticket] { return ticket.checkXPCServiceIsReInital(); },
                .isTicketServiceRefusing = [&ticket] { return ticket.isRefusing(); },
                .existZelVPN = [&client] { accessAndStop(client); },
                .runTicketXPC = [&ticket] { ticket.runTicketXPC(); },
                .reloadZelVPN = [&world] { world.requestPolicy(); },
                .vpnProcessIds = [&vpn](Platform::Error* error) { return vpn.processIds(error); }},
            log, std::chrono::milliseconds(300));
        listener.startListening();
        const QByteArray first = world.waitForAgent("started ZelVPN");
        QVERIFY(!first.isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(logText(world, log).contains(u"Qen ZelVPN existed...."_s), limitMs);

        kill(pid_t(first.trimmed().toInt()), SIGKILL);
        const QByteArray second = world.waitForAgent("started ZelVPN");
        QVERIFY(!second.isEmpty() && second != first);
        QVERIFY(logText(world, log).contains(u"zelvpn exit reload zelvpn....."_s));

        const auto reloads = logText(world, log).count(u"NGN Server reload"_s);
        const auto starts = logText(world, log).count(u"Service run Success"_s);
        QVERIFY(reloads > 0 && starts > 0);
        const uint service = serviceProcess(world.address());
        QVERIFY(service > 0);
        kill(pid_t(service), SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(logText(world, log).count(u"NGN Server reload"_s) > reloads, limitMs);
        QTRY_VERIFY_WITH_TIMEOUT(logText(world, log).count(u"Service run Success"_s) > starts, limitMs);
        QVERIFY(serviceProcess(world.address()) != service);
        signedIn = false; // no more questions while all of it ends
    }

private:
    static QString logText(const AgentWorld& world, QenLogHelper& log) {
        log.drain();
        QFile file(world.logFolder() + u"/QenCloud-Info-1.log"_s);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
};

QTEST_GUILESS_MAIN(tst_AgentLinks)
#include "tst_AgentLinks.moc"
