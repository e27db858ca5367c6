#include "QenLogHelper.h"

#include "Deployment.h"

#include <memory>

namespace {

LogWorld worldIn(QString ringDirectory, QString sizeRecord, qint64 limit) {
    LogWorld world = LogWorld::system();
    world.ringDirectory = std::move(ringDirectory);
    world.sizeRecord = std::move(sizeRecord);
    world.limit = limit;
    return world;
}

/// An export is a chain of so many blocks, each of which queues the next.
constexpr int ExportBlocks = 3;

/// How long the first line of a burst waits for the others: one poll's lines cost one wake-up.
constexpr std::chrono::milliseconds Burst{100};

} // namespace

QenLogHelper::QenLogHelper(LogWorld world)
    : m_world(std::move(world)), m_folders(*m_world.tasks, *m_world.files, m_world.ringDirectory),
      m_ring(m_folders, m_world), m_logQueue(Deployment::LogQueueLabel), m_zipQueue(Deployment::ZipQueueLabel),
      m_export(m_zipQueue, m_folders, m_world,
          {[this](const QString& message, int type) { writeLog(message, type); },
              [this] { m_ring.createLogFiles(); }}) {
    auto opened = std::make_shared<std::promise<void>>();
    m_isOpen = opened->get_future().share();
    m_logQueue.async([this, opened] {
        m_ring.initialise();
        opened->set_value();
    });
}

QenLogHelper::QenLogHelper(QString ringDirectory, QString sizeRecord, qint64 limit)
    : QenLogHelper(worldIn(std::move(ringDirectory), std::move(sizeRecord), limit)) {}

QenLogHelper::~QenLogHelper() {
    for (int block = 0; block < ExportBlocks; ++block)
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
    return LogLine::currentDateString();
}

QString QenLogHelper::askRing(const std::function<QString()>& question) {
    if (m_logQueue.isCurrent())
        return question();
    endBurst();
    // Shared with the block, which may still be about to leave set_value() when this thread goes on.
    auto answer = std::make_shared<std::promise<QString>>();
    m_logQueue.async([&question, answer] { answer->set_value(question()); });
    return answer->get_future().get();
}

QString QenLogHelper::rootDirectory() {
    m_isOpen.wait();
    return m_folders.rootDirectory();
}

QString QenLogHelper::desktopDirectory() const {
    return m_folders.desktopDirectory();
}

QString QenLogHelper::currentLogName() {
    return askRing([this] { return m_ring.currentLogName(); });
}

QString QenLogHelper::logInfoPath() {
    return askRing([this] { return m_ring.logInfoPath(); });
}

void QenLogHelper::zipLogs(Completion complete) {
    endBurst();
    m_export.zipLogs(complete ? std::move(complete) : [](bool, const QString&) {});
}

void QenLogHelper::zipLogsWithDirectory(const QString& directory, Completion complete) {
    endBurst();
    m_export.zipLogsWithDirectory(
        directory, complete ? std::move(complete) : [](bool, const QString&) {});
}
