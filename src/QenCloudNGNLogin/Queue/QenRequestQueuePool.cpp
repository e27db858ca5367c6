#include "QenRequestQueuePool.h"

#include "Deployment.h"

QenRequestQueuePool::QenRequestQueuePool() : m_pool(Deployment::LoginQueueLabel, QueueCount) {}

Platform::SerialQueue& QenRequestQueuePool::queue() {
    return m_pool.queue();
}
