#include "RestartOffer.h"

#include "ClientNotifications.h"
#include "Queue.h"
#include "ScriptRunner.h"
#include "UserNotifications.h"

using namespace Qt::StringLiterals;

ScriptCall systemScripts() {
    return [](const QString& source, Platform::Error* error) { return Platform::ScriptRunner(source).execute(error); };
}

RestartOffer::RestartOffer(World world) : m_world(std::move(world)) {
    m_requests = m_world.center.observe(ClientNotification::Restart, [this](const Platform::Notification&) {
        // Posted by the file listener on a thread of its own.
        m_main.async([this] { restartComputorWithNotification(); });
    });
}

RestartOffer::~RestartOffer() {
    m_requests = {};
    removeScheduled();
}

void RestartOffer::restartComputorWithNotification() {
    using Platform::UserNotifications;
    m_world.notifications.deliver({.title = u"Qen提醒"_s,
                                      .subtitle = u"安全策略下发异常，请重启系统激活设置"_s,
                                      .actionTitle = u"立即重启"_s,
                                      .otherTitle = u"取消"_s},
        [this](UserNotifications::Activation activation) {
            if (activation == UserNotifications::Activation::ActionButton)
                restart();
        });
}

void RestartOffer::removeScheduled() {
    m_world.notifications.removeAll();
}

void RestartOffer::restart() const {
    Platform::globalQueue().async([log = m_world.log, runScript = m_world.runScript] {
        const QString source = u"do shell script \"sudo reboot\" with administrator privileges"_s;
        // Twice on purpose: only the second run is looked at.
        static_cast<void>(runScript(source, nullptr));
        Platform::Error error;
        const QString result = runScript(source, &error);
        log(result.isNull() ? u"restart computor fail with error:%1"_s.arg(error.logText())
                            : u"restart computor success"_s,
            OrdinaryLine);
    });
}
