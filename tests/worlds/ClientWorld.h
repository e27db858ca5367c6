#pragma once

#include "AccountManager.h"
#include "AccountModel.h"
#include "ArchiveStore.h"
#include "ITDevice.h"
#include "QenCloudLoginHelper.h"
#include "QenCloudNGNLogin.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "Session.h"
#include "TaskHelper.h"
#include "VpnComponent.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// A session as it is stored, with the ticket "T".
inline AccountModel recordOf(const QString& user, LoginType type = LoginType::Account) {
    AccountModel record;
    record.setUserid(user);
    record.setTicket(u"T"_s);
    record.setLoginType(type);
    return record;
}

/// Files of one client in a folder of their own, which lie there as they do in a home and below a root.
class ClientFolder {
public:
    /// @param port  of the server in all three places of the agent's list; 0: there is no list
    explicit ClientFolder(quint16 port = 0) {
        QDir().mkpath(support() + u"/QenCloudL"_s);
        QDir().mkpath(agent());
        machineFile("etc/hostname", "desk-7\n");
        machineFile("etc/machine-id", "0123456789abcdef0123456789abcdef\n");
        machineFile("etc/os-release", "NAME=Debian\nVERSION_ID=12\n");
        machineFile("sys/class/net/eth0/address", "02:fc:00:00:00:0a\n");
        machineFile("sys/class/net/eth0/device/vendor", "\n");
        if (port > 0)
            configure(port);
    }
    QString home() const { return m_folder.filePath(u"home"_s); }
    QString support() const { return home() + u"/Library/Application Support"_s; }
    QString agent() const { return m_folder.filePath(u"Library/Application Support/QenCloud"_s); }
    QString state(const QString& name) const { return support() + u"/QenCloudL/"_s + name; }
    QString logs() const { return home() + u"/Library/Logs/QenCloud/Logs"_s; }
    /// All that @p log holds so far, when it writes to logs().
    QString logText(QenLogHelper& log) const {
        log.drain();
        QString text;
        for (const QString& name : QDir(logs()).entryList(QDir::Files, QDir::Name)) {
            QFile file(logs() + u'/' + name);
            if (file.open(QIODevice::ReadOnly))
                text += QString::fromUtf8(file.readAll());
        }
        return text;
    }
    QString file(const QString& name) const { return m_folder.filePath(name); }
    /// Root of the facts of a computer with one network interface.
    QString machine() const { return m_folder.path(); }
    /// Called when the interfaces are listed, which is for the first request that names them.
    static inline std::function<void()> listing;
    QMap<QString, QString> addresses() {
        if (Platform::isMainThread())
            isAskedOnMain = true;
        if (listing)
            listing();
        return {{u"eth0"_s, u"192.0.2.7"_s}};
    }

    /// The addresses were asked for where windows are drawn.
    std::atomic<bool> isAskedOnMain{false};

    bool hasState(const QString& name) const { return QFile::exists(state(name)); }
    std::optional<Platform::ArchiveValue> read(const QString& name) const {
        return unarchiveObjectWithFile(state(name));
    }

    /// Writes the agent's server list: each pair is a server and a port.
    void configure(const QVariantList& servers) {
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(servers), agent() + u"/.QenConfig"_s));
    }
    void configure(quint16 port) {
        const QVariant pair = QVariantList{u"127.0.0.1"_s, port};
        configure(QVariantList{pair, pair, pair});
    }

    /// Puts a record in place as another process would, or takes it away, and waits until the main thread has heard of
    /// it.
    void store(const std::optional<AccountModel>& record, Session& session) const {
        QVERIFY(record ? record->save(support()) : AccountModel::deleteCurrentModel(support()));
        session.current();
        QCoreApplication::processEvents();
    }

private:
    void machineFile(const char* name, const char* content) const {
        const QString path = machine() + u'/' + QString::fromLatin1(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QTemporaryDir m_folder;
};

/// A client without windows: the services from the log up to the login helper, on a folder of their own.
class ClientWorld {
public:
    explicit ClientWorld(ClientFolder& folder, LoginLinks links = {},
        std::function<void(AgentStopped)> accessAndStop = refuse, const QString& vpnExecutable = u"/no/such/vpn"_s)
        : log(folder.logs(), folder.file(u"logs.data"_s)),
          config(folder.agent() + u"/.QenConfig"_s, folder.support() + u"/QenCloudL"_s),
          device(folder.machine(), {.listAddresses = [&folder] { return folder.addresses(); }}),
          session(folder.support()),
          accounts({.config = config,
              .domain = domain,
              .device = device,
              .log = log,
              .applicationSupport = folder.support(),
              .userid = [this] { return session.current().record.value_or(AccountModel()).userid(); }}),
          front(accounts), vpn({.tasks = TaskHelper::sharedInstance(),
                               .executable = vpnExecutable,
                               .accessAndStop = std::move(accessAndStop)}),
          helper({.session = session,
              .server = front,
              .accounts = accounts,
              .device = device,
              .log = log,
              .vpn = vpn,
              .userState = folder.support() + u"/QenCloudL"_s,
              .agentState = folder.agent(),
              .links = std::move(links)}),
          m_folder(folder) {}

    /// An agent that refuses.
    static void refuse(const AgentStopped& done) { done({.access = AgentStop::NoAccess}); }

    void store(const std::optional<AccountModel>& record) { m_folder.store(record, session); }
    QString logText() { return m_folder.logText(log); }

    QenLogHelper log;
    QenServerConfig config;
    QenAnalyseDomain domain;
    ITDevice device;
    Session session;
    AccountManager accounts;
    QenCloudNGNLogin front;
    VpnComponent vpn;
    QenCloudLoginHelper helper;
    /// Last: its end waits for what views have begun.
    Platform::TaskGroup work;

private:
    ClientFolder& m_folder;
};

/// What a completion received, waited for from another thread.
class Outcome {
public:
    AccountManager::Completion completion() {
        return [this](const QJsonObject& received, const Platform::Error& failure) {
            answer = received;
            error = failure;
            ++calls;
            m_arrived.release();
        };
    }
    bool wait(int milliseconds = 8000) { return m_arrived.tryAcquire(1, milliseconds); }

    QJsonObject answer;
    Platform::Error error;
    std::atomic<int> calls{0};

private:
    QSemaphore m_arrived;
};
