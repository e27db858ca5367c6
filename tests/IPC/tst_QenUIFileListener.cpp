#include "QenUIFileListener.h"

#include "AccountModel.h"
#include "ArchiveStore.h"
#include "NotificationCenter.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <mutex>

using namespace Qt::StringLiterals;

using Platform::NotificationCenter;

namespace {

const QList<std::pair<QString, QString>> Meanings = {
    {u"/x/c_qen_mark@2x.png"_s, ClientNotification::Logo},
    {u"/x/tips.txt"_s, ClientNotification::Tips},
    {u"/x/tips.txt/restart.txt"_s, ClientNotification::Tips},
    {u"/x/joinDomainUpdate.txt"_s, ClientNotification::ComputerName},
    {u"/x/restart.txt"_s, ClientNotification::Restart},
    {u"/x/joindomainSwitchStatus.archive"_s, ClientNotification::JoinDomainSwitch},
    {u"/x/inacSSIDInfo.archive"_s, ClientNotification::InacSsid},
    {u"/x/switchngn.archive"_s, ClientNotification::NgnSwitch},
    {u"/x/appmgrlist.archive"_s, ClientNotification::AppList},
    {u"/x/ngncloudlist.archive"_s, ClientNotification::TrustedApps},
    {u"/x/hideqenswitch.archive"_s, ClientNotification::HideTray},
    {u"/x/login.archive"_s, {}},
    {u"/x/other"_s, {}},
};

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
        QSet<QString> names{ClientNotification::TicketTimeOut};
        for (const auto& [path, name] : Meanings)
            names << name;
        for (const QString& name : names)
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
    void eachPathHasItsNotification() {
        Listening world;
        for (const auto& [path, name] : Meanings) {
            world.listener.myCallbackFunction({u"/x/other"_s, path});
            QCOMPARE(world.taken(), name.isEmpty() ? QStringList() : QStringList{name});
        }
        world.log.drain();
        QFile log(world.root.filePath(u"logs/QenCloud-Info-1.log"_s));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("events index: 1, path:/x/tips.txt/restart.txt"));
    }

    void recordDecidesAboutTheTicket() {
        const QString ended = ClientNotification::TicketTimeOut;
        Listening world;
        for (const auto& [ticketState, loginType, posted] :
            {std::tuple{2, LoginType::Account, QStringList{ended + u" 2"_s}}, {2, LoginType::Domain, {ended + u" 2"_s}},
                {1, LoginType::Domain, {ended}}, {1, LoginType::Account, {}}}) {
            storeRecord(world.root.path(), ticketState, loginType);
            world.listener.myCallbackFunction({u"/x/login.archive"_s});
            QCOMPARE(world.taken(), posted);
        }
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
        QTRY_COMPARE((all += world.taken()).size(), 2);
        all.sort();
        QCOMPARE(all, QStringList({ClientNotification::HideTray, ClientNotification::TicketTimeOut + u" 2"_s}));
        QTRY_COMPARE(world.config.intranet_port(), 8080);
    }
};

QTEST_GUILESS_MAIN(tst_QenUIFileListener)
#include "tst_QenUIFileListener.moc"
