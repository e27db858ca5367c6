#include "LogWorld.h"

#include "ITDevice.h"
#include "ScriptRunner.h"
#include "SystemLog.h"
#include "TaskHelper.h"

#include <QFile>
#include <QFileInfo>

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
    // In a build folder they stand side by side.
    const QString beside = QFileInfo(QFile::symLinkTarget(u"/proc/self/exe"_s)).path() + u"/mavctl"_s;
    world.reporter = QFileInfo::exists(beside) ? beside : u"/usr/bin/mavctl"_s;
    world.openFolder = [](const QString& folder) { TaskHelper().startCMDApp(u"/usr/bin/open"_s, {folder}); };
    return world;
}
