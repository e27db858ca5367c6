#include "LogWorld.h"

#include "ITDevice.h"
#include "ScriptRunner.h"
#include "SystemLog.h"
#include "TaskHelper.h"

using namespace Qt::StringLiterals;

LogWorld LogWorld::system() {
    LogWorld world;
    world.echo = Platform::systemLog;
    world.userName = [] { return ITDevice().userName(); };
    world.runScript = [](const QString& source) {
        Platform::Error error;
        Platform::ScriptRunner(source).execute(&error);
        return error;
    };
    world.openFolder = [](const QString& folder) { TaskHelper().startCMDApp(u"/usr/bin/open"_s, {folder}); };
    return world;
}
