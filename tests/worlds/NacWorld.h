#pragma once

#include "ArchiveStore.h"
#include "LoopbackServer.h"
#include "QenLogHelper.h"
#include "QenServerConfig.h"
#include "iNacNetwork.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// The network access client without windows, on a folder of its own.
class NacWorld {
public:
    NacWorld() { QDir().mkpath(state()); }

    QString state() const { return m_folder.filePath(u"home/Library/Application Support/QenCloudL"_s); }
    QString stateFile(const QString& name) const { return state() + u'/' + name; }
    QString home() const { return m_folder.filePath(u"home"_s); }

    static QVariant server(quint16 port) { return QVariantList{u"127.0.0.1"_s, QString::number(port)}; }
    /// Writes the agent's server list: intranet, extranet, domain.
    void configure(const QVariantList& servers) {
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(servers), m_folder.filePath(u"config"_s)));
    }

    /// Everything that the log holds so far.
    QString logText() {
        log.drain();
        QString text;
        QDir folder(m_folder.filePath(u"logs"_s));
        for (const QString& name : folder.entryList(QDir::Files, QDir::Name)) {
            QFile file(folder.filePath(name));
            if (file.open(QIODevice::ReadOnly))
                text += QString::fromUtf8(file.readAll());
        }
        return text;
    }

private:
    QTemporaryDir m_folder;

public:
    QByteArray clientFile;
    QenLogHelper log{m_folder.filePath(u"logs"_s), m_folder.filePath(u"logs.data"_s)};
    QenServerConfig config{m_folder.filePath(u"config"_s), state()};
    std::unique_ptr<iNacNetwork> network = std::make_unique<iNacNetwork>(config, log, [this] { return clientFile; });
};
