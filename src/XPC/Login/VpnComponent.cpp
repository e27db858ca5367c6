#include "VpnComponent.h"

#include "TaskHelper.h"

using namespace Qt::StringLiterals;

QString VpnComponent::processes() const {
    return search({}, nullptr);
}

QString VpnComponent::processIds(Platform::Error* error) const {
    return search(u" | awk '{print $2}'"_s, error);
}

QString VpnComponent::search(const QString& filter, Platform::Error* error) const {
    QString found;
    const auto task = m_world.tasks.excuteTaskPath(u"/bin/bash"_s,
        {u"-c"_s, u"/bin/ps aux | grep -w '%1' | grep -v 'grep'"_s.arg(m_world.executable) + filter}, &found, error);
    if (task)
        task->terminate();
    return found.isEmpty() ? QString() : found;
}

void VpnComponent::stop(const std::function<void(const AgentStop&)>& done) const {
    if (m_world.agent)
        m_world.agent->accessAndStop(done);
    else
        done({.access = AgentStop::NoAccess});
}
