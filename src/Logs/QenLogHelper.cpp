#include "QenLogHelper.h"

#include "Deployment.h"
#include "ITDevice.h"
#include "ScriptRunner.h"
#include "SystemLog.h"
#include "TaskHelper.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <memory>

using namespace Qt::StringLiterals;

LogWorld LogWorld::system(QString ringDirectory, QString sizeRecord, qint64 limit) {
    LogWorld world;
    world.ringDirectory = std::move(ringDirectory);
    world.sizeRecord = std::move(sizeRecord);
    world.limit = limit;
    world.echo = Platform::systemLog;
    world.userName = [] { return ITDevice().userName(); };
    world.runScript = [](const QString& source) {
        Platform::Error error;
        Platform::ScriptRunner(source).execute(&error);
        return error;
    };
    // In a build folder they stand side by side.
    const QString beside = QFileInfo(QFile::symLinkTarget(u"/proc/self/exe"_s)).path() + u"/mavctl"_s;
    world.reporter = QFileInfo::exists(beside) ? beside : u"/usr/bin/mavctl"_s;
    world.openFolder = [](const QString& folder) { TaskHelper().startCMDApp(u"/usr/bin/open"_s, {folder}); };
    return world;
}

QenLogHelper::QenLogHelper(LogWorld world)
    : m_world(std::move(world)), m_folders(m_world.ringDirectory), m_ring(m_folders, m_world),
      m_logQueue(Deployment::LogQueueLabel), m_zipQueue(Deployment::ZipQueueLabel) {
    auto opened = std::make_shared<std::promise<void>>();
    m_isOpen = opened->get_future().share();
    m_logQueue.async([this, opened] {
        m_ring.initialise();
        opened->set_value();
    });
}

QenLogHelper::~QenLogHelper() {
    m_zipQueue.drain();
    endBurst();
    m_logQueue.drain();
}

void QenLogHelper::writeLog(const QString& message, int) {
    const std::lock_guard lock(m_pendingMutex);
    m_pending.push_back(message);
    if (m_pending.size() == 1)
        m_logQueue.async([this] { writePending(); });
}

void QenLogHelper::writePending() {
    std::vector<QString> messages;
    {
        std::unique_lock lock(m_pendingMutex);
        // How long the first line of a burst waits for the others: one poll's lines cost one wake-up.
        constexpr std::chrono::milliseconds Burst{100};
        m_burstEnds.wait_for(lock, Burst, [this] { return m_isBurstOver; });
        m_isBurstOver = false;
        messages.swap(m_pending);
    }
    for (const QString& message : messages)
        m_ring.append(message);
}

void QenLogHelper::endBurst() {
    const std::lock_guard lock(m_pendingMutex);
    m_isBurstOver = !m_pending.empty();
    m_burstEnds.notify_all();
}

bool QenLogHelper::drain(std::chrono::milliseconds limit) {
    endBurst();
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> isDone = done->get_future();
    m_logQueue.async([done] { done->set_value(); });
    return isDone.wait_for(limit) == std::future_status::ready;
}

QString QenLogHelper::currentDateString() {
    return LogRing::dateString(QDateTime::currentSecsSinceEpoch());
}

QString QenLogHelper::rootDirectory() {
    m_isOpen.wait();
    return m_folders.rootDirectory();
}

QString QenLogHelper::currentLogName() {
    drain();
    return m_ring.currentLogName();
}

QString QenLogHelper::logInfoPath() {
    m_isOpen.wait();
    return m_ring.logInfoPath();
}
