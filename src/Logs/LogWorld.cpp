#include "LogWorld.h"

#include "HostTools.h"
#include "ITDevice.h"
#include "ScriptRunner.h"
#include "SystemLog.h"
#include "TaskHelper.h"

#include <QFileInfo>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace {

/// The stated opener, else the one of that name in the pack, else the desktop's own.
void openInFileBrowser(const QString& folder) {
    QString opener = Platform::HostTools::resolved(u"/usr/bin/open"_s);
    if (!QFileInfo::exists(opener))
        opener = QStandardPaths::findExecutable(u"xdg-open"_s);
    if (!opener.isEmpty())
        TaskHelper().startCMDApp(opener, {folder});
}

Platform::Error scriptError(const QString& source) {
    Platform::Error error;
    Platform::ScriptRunner(source).execute(&error);
    return error;
}

} // namespace

LogWorld LogWorld::system() {
    LogWorld world;
    world.echo = Platform::systemLog;
    world.userName = [] { return ITDevice().userName(); };
    world.runScript = scriptError;
    world.openFolder = openInFileBrowser;
    return world;
}
