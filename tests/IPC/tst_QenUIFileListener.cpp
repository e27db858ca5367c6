#include "QenUIFileListener.h"

#include "AccountModel.h"
#include "ArchiveStore.h"
#include "NotificationCenter.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <mutex>

using namespace Qt::StringLiterals;

using Platform::NotificationCenter;

namespace {

class Listening {
public:
    Listening()
        : agent(root.filePath(u"QenCloud"_s)), log(root.filePath(u"logs"_s), root.filePath(u"record"_s)),
          config(agent + u"/.QenConfig"_s, root.path()),
          listener({.center = center,
              .config = config,
              .log = log,
              .files = QenUIFileListener::followedFiles(agent, root.path()),
              .record = [this] { return AccountModel::currentModel(root.path()); },
              .latency = std::chrono::milliseconds(100)}) {
        QDir().mkpath(agent);
        for (const QString& name : {ClientNotification::Logo, ClientNotification::Tips,
                 ClientNotification::ComputerName, ClientNotification::Restart, ClientNotification::JoinDomainSwitch,
                 ClientNotification::InacSsid, ClientNotification::NgnSwitch, ClientNotification::AppList,
                 ClientNotification::TrustedApps, ClientNotification::TicketTimeOut, ClientNotification::HideTray})
            observers.push_back(center.observe(name, [this](const Platform::Notification& notification) {
                const std::lock_guard lock(mutex);
                posted << notification.name +
                        (notification.object.isValid() ? u' ' + notification.object.toString() : QString());
            }));
    }
    QStringList taken() {
        const std::lock_guard lock(mutex);
        return std::exchange(posted, {});
    }

    QTemporaryDir root;
    const QString agent;
    QenLogHelper log;
    NotificationCenter center;
    QenServerConfig config;
    std::mutex mutex;
    QStringList posted;
    std::vector<NotificationCenter::Observer> observers;
    QenUIFileListener listener;
};

void storeRecord(const QString& root, qint64 ticketState, LoginType type) {
    AccountModel record;
    record.setTicket_state(ticketState);
    record.setLoginType(type);
    QVERIFY(record.save(root));
}

} // namespace

class tst_QenUIFileListener : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void eachPathHasItsNotification_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("posted");
        const auto row = [](const char* path, const QString& posted) {
            QTest::newRow(path) << QString::fromUtf8(path) << posted;
        };
        row("/x/c_qen_mark@2x.png", ClientNotification::Logo);
        row("/x/tips.txt", ClientNotification::Tips);
        row("/x/tips.txt/restart.txt", ClientNotification::Tips);
        row("/x/joinDomainUpdate.txt", ClientNotification::ComputerName);
        row("/x/restart.txt", ClientNotification::Restart);
        row("/x/joindomainSwitchStatus.archive", ClientNotification::JoinDomainSwitch);
        row("/x/inacSSIDInfo.archive", ClientNotification::InacSsid);
        row("/x/switchngn.archive", ClientNotification::NgnSwitch);
        row("/x/appmgrlist.archive", ClientNotification::AppList);
        row("/x/ngncloudlist.archive", ClientNotification::TrustedApps);
        row("/x/hideqenswitch.archive", ClientNotification::HideTray);
        row("/x/login.archive", QString());
        row("/x/other", QString());
    }
    void eachPathHasItsNotification() {
        QFETCH(QString, path);
        QFETCH(QString, posted);
        Listening world;
        world.listener.myCallbackFunction({u"/x/other"_s, path});
        QCOMPARE(world.taken(), posted.isEmpty() ? QStringList() : QStringList{posted});
        world.log.drain();
        QFile log(world.root.filePath(u"logs/QenCloud-Info-1.log"_s));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("events index: 1, path:" + path.toUtf8()));
    }

    void recordDecidesAboutTheTicket_data() {
        QTest::addColumn<qint64>("ticketState");
        QTest::addColumn<int>("loginType");
        QTest::addColumn<QStringList>("posted");
        QTest::newRow("timed out") << qint64(2) << 1 << QStringList{ClientNotification::TicketTimeOut + u" 2"_s};
        QTest::newRow("timed out in a domain")
            << qint64(2) << 3 << QStringList{ClientNotification::TicketTimeOut + u" 2"_s};
        QTest::newRow("domain") << qint64(1) << 3 << QStringList{ClientNotification::TicketTimeOut};
        QTest::newRow("account") << qint64(1) << 1 << QStringList();
    }
    void recordDecidesAboutTheTicket() {
        QFETCH(qint64, ticketState);
        QFETCH(int, loginType);
        QFETCH(QStringList, posted);
        Listening world;
        storeRecord(world.root.path(), ticketState, static_cast<LoginType>(loginType));
        world.listener.myCallbackFunction({u"/x/login.archive"_s});
        QCOMPARE(world.taken(), posted);
    }

    void realChangesArrive() {
        Listening world;
        QVERIFY(world.listener.monitorQueue().label().endsWith(u".qen.ui.file.monitor"_s));
        world.listener.startUIResourcesFileListen();
        QTest::qSleep(100);
        QVERIFY(archiveRootObject(u"1"_s, world.agent + u"/hideqenswitch.archive"_s));
        const QVariantList servers{QVariant(QVariantList{"10.0.0.1", 8080})};
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(servers), world.agent + u"/.QenConfig"_s));
        storeRecord(world.root.path(), 2, LoginType::Account);
        QStringList all;
        QElapsedTimer timer;
        timer.start();
        while ((all.size() < 2 || world.config.intranet_port() == 0) && timer.elapsed() < 5000) {
            QTest::qSleep(10);
            all += world.taken();
        }
        all.sort();
        QCOMPARE(all, QStringList({ClientNotification::HideTray, ClientNotification::TicketTimeOut + u" 2"_s}));
        QCOMPARE(world.config.intranet_port(), 8080);
    }
};

QTEST_GUILESS_MAIN(tst_QenUIFileListener)
#include "tst_QenUIFileListener.moc"
