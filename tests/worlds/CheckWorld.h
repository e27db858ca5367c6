#pragma once

#include "ArchiveStore.h"
#include "HostTools.h"
#include "NotificationCenter.h"
#include "QenCheck.h"
#include "TaskHelper.h"
#include "TestFiles.h"

#include <QMutex>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

/// A computer in a folder: what its tools answer, what the agent asks for, which client is installed.
class CheckWorld {
public:
    CheckWorld() {
        QDir().mkpath(file(u"tools"_s));
        QDir().mkpath(agent());
        Platform::HostTools::setFolders({file(u"tools"_s)});
    }
    QString file(const QString& name) const { return m_folder.filePath(name); }
    QString agent() const { return file(u"agent"_s); }

    void write(const QString& name, const QByteArray& bytes) const { put(file(name), bytes); }
    /// Puts a tool on the PATH of the probes.
    void tool(const QString& name, const QByteArray& script) const {
        put(file(u"tools/"_s + name), "#!/bin/sh\n" + script, true);
    }
    /// @param suffix  of the policy's file name
    void policy(const QVariantMap& access, const QString& suffix) const {
        const QVariant root = QVariantMap{{u"access"_s, access}};
        QVERIFY(archiveRootObject(Platform::ArchiveValue::fromVariant(root), agent() + u"/complianceInfo"_s + suffix));
    }

    CheckLog log() {
        return [this](const QString& message, int type) {
            const QMutexLocker lock(&m_mutex);
            m_lines << (type == OrdinaryLine ? message : u"type %1"_s.arg(type));
        };
    }
    QStringList lines() {
        const QMutexLocker lock(&m_mutex);
        return m_lines;
    }

    QenCheck::World checks(const TaskHelper& tasks, DomainAccountLink accounts = {}) {
        return {.log = log(),
            .tasks = tasks,
            .center = center,
            .agentState = agent(),
            .applicationBundle = file(u"Mav.app"_s),
            .accounts = std::move(accounts)};
    }

    Platform::NotificationCenter center;

private:
    QTemporaryDir m_folder;
    QMutex m_mutex;
    QStringList m_lines;
};

inline QenCheckModelPointer checkModel(const QString& selector, const QString& key = u"key"_s) {
    auto model = std::make_shared<QenCheckModel>();
    model->spreadDictToModel(
        Platform::ArchiveValue(Platform::ArchiveValue::Dictionary{{u"selectorName"_s, selector}, {u"mainKey"_s, key}}));
    return model;
}
