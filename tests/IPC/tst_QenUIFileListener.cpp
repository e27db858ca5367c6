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

using Platform::NotificationCenter;

namespace {

class Listening {
public:
    Listening()
        : agent(root.filePath(QStringLiteral("QenCloud"))),
          log(root.filePath(QStringLiteral("logs")), root.filePath(QStringLiteral("record"))),
          config(agent + QStringLiteral("/.QenConfig"), root.path()),
          listener({center, config, log, agent, root.path(), std::chrono::milliseconds(100)}) {
        QDir().mkpath(agent);
        for (const QString& name :
             {FileNotification::Logo, FileNotification::Tips, FileNotification::ComputerName, FileNotification::Restart,
              FileNotification::JoinDomainSwitch, FileNotification::InacSsid, FileNotification::NgnSwitch,
              FileNotification::AppList, FileNotification::TrustedApps, FileNotification::TicketTimeOut,
              FileNotification::HideTray})
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
        row("/x/c_qen_mark@2x.png", FileNotification::Logo);
        row("/x/tips.txt", FileNotification::Tips);
        row("/x/tips.txt/restart.txt", FileNotification::Tips);
        row("/x/joinDomainUpdate.txt", FileNotification::ComputerName);
        row("/x/restart.txt", FileNotification::Restart);
        row("/x/joindomainSwitchStatus.archive", FileNotification::JoinDomainSwitch);
        row("/x/inacSSIDInfo.archive", FileNotification::InacSsid);
        row("/x/switchngn.archive", FileNotification::NgnSwitch);
        row("/x/appmgrlist.archive", FileNotification::AppList);
        row("/x/ngncloudlist.archive", FileNotification::TrustedApps);
        row("/x/hideqenswitch.archive", FileNotification::HideTray);
        row("/x/login.archive", QString());
        row("/x/other", QString());
    }
    void eachPathHasItsNotification() {
        QFETCH(QString, path);
        QFETCH(QString, posted);
        Listening world;
        world.listener.handleEvent(3, path);
        QCOMPARE(world.taken(), posted.isEmpty() ? QStringList() : QStringList{posted});
        world.log.drain();
        QFile log(world.root.filePath(QStringLiteral("logs/QenCloud-Info-1.log")));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("events index: 3, path:" + path.toUtf8()));
    }

    void recordDecidesAboutTheTicket_data() {
        QTest::addColumn<qint64>("ticketState");
        QTest::addColumn<int>("loginType");
        QTest::addColumn<QStringList>("posted");
        QTest::newRow("timed out") << qint64(2) << 1
                                   << QStringList{FileNotification::TicketTimeOut + QStringLiteral(" 2")};
        QTest::newRow("timed out in a domain")
            << qint64(2) << 3 << QStringList{FileNotification::TicketTimeOut + QStringLiteral(" 2")};
        QTest::newRow("domain") << qint64(1) << 3 << QStringList{FileNotification::TicketTimeOut};
        QTest::newRow("account") << qint64(1) << 1 << QStringList();
    }
    void recordDecidesAboutTheTicket() {
        QFETCH(qint64, ticketState);
        QFETCH(int, loginType);
        QFETCH(QStringList, posted);
        Listening world;
        storeRecord(world.root.path(), ticketState, static_cast<LoginType>(loginType));
        world.listener.handleEvent(0, QStringLiteral("/x/login.archive"));
        QCOMPARE(world.taken(), posted);
    }

    void realChangesArrive() {
        Listening world;
        world.listener.startUIResourcesFileListen();
        QTest::qSleep(100);
        QVERIFY(archiveRootObject(QStringLiteral("1"), world.agent + QStringLiteral("/hideqenswitch.archive")));
        const QVariantList servers{QVariant(QVariantList{"10.0.0.1", 8080})};
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(servers),
                                  world.agent + QStringLiteral("/.QenConfig")));
        storeRecord(world.root.path(), 2, LoginType::Account);
        QStringList all;
        QElapsedTimer timer;
        timer.start();
        while ((all.size() < 2 || world.config.intranet_port() == 0) && timer.elapsed() < 5000) {
            QTest::qSleep(10);
            all += world.taken();
        }
        all.sort();
        QCOMPARE(all,
                 QStringList({FileNotification::HideTray, FileNotification::TicketTimeOut + QStringLiteral(" 2")}));
        QCOMPARE(world.config.intranet_port(), 8080);
    }
};

QTEST_GUILESS_MAIN(tst_QenUIFileListener)
#include "tst_QenUIFileListener.moc"
