#include "LogWorld.h"

#include "HostTools.h"
#include "ITDevice.h"
#include "ScriptRunner.h"
#include "SystemLog.h"

#include <QFileInfo>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace {

/// The stated opener, else the one of that name in the pack, else the desktop's own.
void openInFileBrowser(const TaskHelper& tasks, const QString& folder) {
    QString opener = Platform::HostTools::resolved(u"/usr/bin/open"_s);
    if (!QFileInfo::exists(opener))
        opener = QStandardPaths::findExecutable(u"xdg-open"_s);
    if (!opener.isEmpty())
        tasks.startCMDApp(opener, {folder});
}

} // namespace

LogWorld LogWorld::system() {
    LogWorld world;
    world.tasks = &TaskHelper::sharedInstance();
    world.files = &FileManager::sharedInstance();
    world.echo = Platform::systemLog;
    world.userName = [] { return ITDevice().userName(); };
    world.runScript = [](const QString& source) {
        Platform::Error error;
        Platform::ScriptRunner(source).execute(&error);
        return error;
    };
    world.openFolder = [tasks = world.tasks](const QString& folder) { openInFileBrowser(*tasks, folder); };
    return world;
}
