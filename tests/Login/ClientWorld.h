#pragma once

#include "AccountManager.h"
#include "AccountModel.h"
#include "ArchiveStore.h"
#include "ITDevice.h"
#include "QenAnalyseDomain.h"
#include "QenCloudLoginHelper.h"
#include "QenCloudNGNLogin.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

/// Files of one client in a folder of their own.
class ClientFolder {
public:
    ClientFolder() {
        QDir().mkpath(support() + QStringLiteral("/QenCloudL"));
        QDir().mkpath(agent());
    }
    QString support() const { return m_folder.filePath(QStringLiteral("support")); }
    QString agent() const { return m_folder.filePath(QStringLiteral("agent")); }
    QString state(const QString& name) const { return support() + QStringLiteral("/QenCloudL/") + name; }
    QString logs() const { return m_folder.filePath(QStringLiteral("logs")); }
    QString file(const QString& name) const { return m_folder.filePath(name); }

    bool hasState(const QString& name) const { return QFile::exists(state(name)); }
    std::optional<Platform::ArchiveValue> read(const QString& name) const {
        return unarchiveObjectWithFile(state(name));
    }

    /// Writes the agent's server list: each pair is a server and a port.
    void configure(const QVariantList& servers) {
        QVERIFY(
            archiveRootObject(Platform::ArchiveValue::fromVariant(servers), agent() + QStringLiteral("/.QenConfig")));
    }
    void configure(quint16 port) {
        const QVariant pair = QVariantList{QStringLiteral("127.0.0.1"), port};
        configure(QVariantList{pair, pair, pair});
    }

private:
    QTemporaryDir m_folder;
};

/// A client without windows: the services from the log up to the login helper, on a folder of their own.
class ClientWorld {
public:
    explicit ClientWorld(ClientFolder& folder, LoginLinks links = {},
                         QString vpnExecutable = QStringLiteral("/no/such/vpn"))
        : log(folder.logs(), folder.file(QStringLiteral("logs.data"))),
          config(folder.agent() + QStringLiteral("/.QenConfig"), folder.support() + QStringLiteral("/QenCloudL")),
          accounts({config, domain, device, log, folder.support()}), front(accounts),
          helper({front, accounts, device, log, {folder.support(), folder.agent(), std::move(vpnExecutable)}, links}),
          m_folder(folder) {}

    /// Everything that the log holds so far.
    QString logText() {
        log.drain();
        QString text;
        for (const QString& name : QDir(m_folder.logs()).entryList(QDir::Files, QDir::Name)) {
            QFile file(m_folder.logs() + u'/' + name);
            if (file.open(QIODevice::ReadOnly))
                text += QString::fromUtf8(file.readAll());
        }
        return text;
    }

    QenLogHelper log;
    QenServerConfig config;
    QenAnalyseDomain domain;
    ITDevice device;
    AccountManager accounts;
    QenCloudNGNLogin front;
    QenCloudLoginHelper helper;

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

/// Waits until @p isTrue, at most five seconds.
template <typename Condition>
bool eventually(Condition isTrue, int milliseconds = 5000) {
    QElapsedTimer timer;
    timer.start();
    while (!isTrue()) {
        if (timer.elapsed() > milliseconds)
            return false;
        QTest::qSleep(10);
    }
    return true;
}
