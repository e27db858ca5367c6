#include "VpnComponent.h"

#include "TaskHelper.h"

using namespace Qt::StringLiterals;

QString VpnComponent::search(const QString& filter, Platform::Error* error) const {
    QString found;
    const auto task = m_world.tasks.excuteTaskPath(u"/bin/bash"_s,
        {u"-c"_s, u"/bin/ps aux | grep -w '%1' | grep -v 'grep'"_s.arg(m_world.executable) + filter}, &found, error);
    if (task)
        task->terminate();
    return found.isEmpty() ? QString() : found;
}

void VpnComponent::stop(const AgentStopped& done) const {
    if (m_world.accessAndStop)
        m_world.accessAndStop(done);
    else
        done({.access = AgentStop::NoAccess});
}
