#include "QuitSequence.h"

#include "IntegerValue.h"
#include "LoginLinks.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "Queue.h"
#include "TaskHelper.h"

#include <utility>

using namespace Qt::StringLiterals;

QuitSequence::QuitSequence(World world, std::function<void()> terminate)
    : m_world(std::move(world)), m_terminate(std::move(terminate)) {}

void QuitSequence::start(World world, std::function<void()> terminate) {
    const std::shared_ptr<QuitSequence> sequence(new QuitSequence(std::move(world), std::move(terminate)));
    Platform::globalQueue().async([sequence] { sequence->stopVpnComponent(); });
    // Only for a look-up or a link that hangs: each of them has a limit of its own.
    Platform::after(Platform::mainQueue(), sequence->m_world.limit, [sequence] { sequence->finish(); });
}

void QuitSequence::stopVpnComponent() {
    m_world.login.existZelVPN();
    QString running;
    TaskHelper::sharedInstance().excuteTaskPath(u"/bin/bash"_s,
        {u"-c"_s, u"/bin/ps aux | grep -w '%1' | grep -v 'grep'"_s.arg(m_world.vpnExecutable)}, &running, nullptr);
    if (running.isEmpty()) {
        finish();
        return;
    }
    requestStop();
}

void QuitSequence::requestStop() {
    const auto refused = [self = shared_from_this()] {
        self->m_world.log.writeLog(u"[appdelegate] QenCloud Vindor Access Fail!!!"_s);
        self->finish();
    };
    if (!m_world.agent) {
        refused();
        return;
    }
    m_world.agent->startRequestAccess([self = shared_from_this(), refused](int status) {
        if (status != 0) {
            refused();
            return;
        }
        // The error is not looked at, on purpose: the answer's code alone decides which line is logged.
        self->m_world.agent->stopSmartAgent(
            [self](const QJsonObject& answer, const Platform::Error&) { self->judgeStop(answer); });
    });
}

void QuitSequence::judgeStop(const QJsonObject& answer) {
    const auto code = integerValue(answer.value(u"code"));
    m_world.log.writeLog(code == 0
            ? u"[appdelegate] QenCloud Vindor Stop Success!!!"_s
            : u"[appdelegate] QenCloud Vindor Stop Fail:code = %1"_s.arg(code ? QString::number(*code) : u"(null)"_s));
    finish();
}

void QuitSequence::finish() {
    Platform::mainQueue().async([self = shared_from_this()] {
        if (const auto terminate = std::exchange(self->m_terminate, nullptr))
            terminate();
    });
}
