#include "JoinDomainAction.h"

#include "BusConnection.h"
#include "CheckLog.h"
#include "Deployment.h"
#include "Paths.h"
#include "Queue.h"
#include "ScriptRunner.h"
#include "SystemLog.h"

#include <QPointer>

using namespace Qt::StringLiterals;

JoinDomainAction::World JoinDomainAction::World::standard() {
    return {.activateRunningTool =
                [] {
                    Platform::BusConnection bus;
                    return Platform::activateRunningApplication(bus, Deployment::JoinDomainToolIdentifier);
                },
        .resources = Platform::Paths::applicationBundle() + u"/Contents/Resources"_s,
        .console = Platform::systemLog};
}

JoinDomainAction::JoinDomainAction(World world) : m_world(std::move(world)) {}

void JoinDomainAction::tapDomainBtn() {
    if (m_isJoiningDomain)
        return;
    m_isJoiningDomain = true;
    Q_EMIT joiningChanged(true);
    Platform::globalQueue().async([world = m_world, self = QPointer(this)] {
        if (!world.activateRunningTool())
            openDomainTool(world);
        Platform::mainQueue().async([self] {
            if (self)
                self->dismiss();
        });
    });
}

void JoinDomainAction::openDomainTool(const World& world) {
    const QString command = u"open -a %1/JoinDomainTool.app/Contents/MacOS/JoinDomainTool"_s.arg(world.resources);
    Platform::Error error;
    const QString result =
        world.runScript(u"do shell script \"%1\""_s.arg(Platform::ScriptRunner::escaped(command)), &error);
    world.console(u"Open JoinDomainTool result:%1, error:%2"_s.arg(orNull(result), error.logText()));
}

void JoinDomainAction::dismiss() {
    m_isJoiningDomain = false;
    Q_EMIT joiningChanged(false);
}
