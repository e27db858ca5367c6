#pragma once

#include "ArchiveStore.h"
#include "HostTools.h"
#include "NotificationCenter.h"
#include "QenCheck.h"
#include "TaskHelper.h"

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QTemporaryDir>
#include <QTest>

/// A computer in a folder: what its tools answer, what the agent asks for, which client is installed.
class CheckWorld {
public:
    CheckWorld() {
        QDir().mkpath(file(QStringLiteral("tools")));
        QDir().mkpath(agent());
        Platform::HostTools::setFolders({file(QStringLiteral("tools"))});
    }
    QString file(const QString& name) const { return m_folder.filePath(name); }
    QString agent() const { return file(QStringLiteral("agent")); }
    QString bundle() const { return file(QStringLiteral("Mav.app")); }

    void write(const QString& name, const QByteArray& bytes) const {
        QDir().mkpath(QFileInfo(file(name)).path());
        QFile target(file(name));
        QVERIFY(target.open(QIODevice::WriteOnly));
        target.write(bytes);
    }
    /// Puts a tool on the PATH of the probes.
    void tool(const QString& name, const QByteArray& script) const {
        write(QStringLiteral("tools/") + name, "#!/bin/sh\n" + script);
        QFile::setPermissions(file(QStringLiteral("tools/") + name), QFile::ReadOwner | QFile::ExeOwner);
    }
    /// @param suffix  of the policy's file name
    void policy(const QVariantMap& access, const QString& suffix) const {
        const QVariant root = QVariantMap{{QStringLiteral("access"), access}};
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(root),
                                  agent() + QStringLiteral("/complianceInfo") + suffix));
    }

    CheckLog log() {
        return [this](const QString& message, int type) {
            const QMutexLocker lock(&m_mutex);
            m_lines << (type == OrdinaryLine ? message : QStringLiteral("type %1").arg(type));
        };
    }
    QStringList lines() {
        const QMutexLocker lock(&m_mutex);
        return m_lines;
    }

    Platform::NotificationCenter center;

private:
    QTemporaryDir m_folder;
    QMutex m_mutex;
    QStringList m_lines;
};

inline QenCheckModelPointer checkModel(const QString& selector, const QString& key = QStringLiteral("key")) {
    auto model = std::make_shared<QenCheckModel>();
    model->spreadDictToModel(Platform::ArchiveValue(Platform::ArchiveValue::Dictionary{
        {QStringLiteral("selectorName"), selector}, {QStringLiteral("mainKey"), key}}));
    return model;
}
