#include "QuitSequence.h"

#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "Queue.h"

#include <utility>

using namespace Qt::StringLiterals;

QuitSequence::QuitSequence(const World& world, std::function<void()> terminate)
    : m_world(world), m_terminate(std::move(terminate)) {}

void QuitSequence::start(const World& world, std::function<void()> terminate) {
    const std::shared_ptr<QuitSequence> sequence(new QuitSequence(world, std::move(terminate)));
    Platform::globalQueue().async([sequence] { sequence->stopVpnComponent(); });
    // Only for a look-up or a link that hangs: each of them has a limit of its own.
    Platform::after(Platform::mainQueue(), sequence->m_world.limit, [sequence] { sequence->finish(); });
}

void QuitSequence::stopVpnComponent() {
    m_world.login.existZelVPN();
    if (m_world.vpn.processes().isEmpty()) {
        finish();
        return;
    }
    // Behind the stop that was begun above, as a unit of its own.
    m_world.vpn.stop([self = shared_from_this()](const AgentStop& stop) {
        self->judgeStop(stop);
        self->finish();
    });
}

void QuitSequence::judgeStop(const AgentStop& stop) {
    if (stop.access != 0) {
        m_world.log.writeLog(u"[appdelegate] QenCloud Vindor Access Fail!!!"_s);
        return;
    }
    // The error is not looked at, on purpose: the answer's code alone decides which line is logged.
    const auto code = integerValue(stop.answer.value(u"code"));
    m_world.log.writeLog(code == 0
            ? u"[appdelegate] QenCloud Vindor Stop Success!!!"_s
            : u"[appdelegate] QenCloud Vindor Stop Fail:code = %1"_s.arg(ServerAnswer::logged(code)));
}

void QuitSequence::finish() {
    std::function<void()> terminate;
    {
        const std::lock_guard lock(m_mutex);
        terminate = std::exchange(m_terminate, nullptr);
    }
    if (terminate)
        terminate();
}
