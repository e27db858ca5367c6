#include "LogWorld.h"

#include "HostTools.h"
#include "ScriptRunner.h"
#include "SystemLog.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <pwd.h>
#include <unistd.h>

#include <vector>

namespace {

QString accountName() {
    passwd record{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (getpwuid_r(geteuid(), &record, buffer.data(), buffer.size(), &found) != 0 || !found)
        return QString::number(geteuid());
    return QString::fromLocal8Bit(found->pw_name);
}

/// The stated opener, else the one of that name in the pack, else the desktop's own.
void openInFileBrowser(const TaskHelper& tasks, const QString& folder) {
    QString opener = Platform::HostTools::resolved(QStringLiteral("/usr/bin/open"));
    if (!QFileInfo::exists(opener))
        opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (!opener.isEmpty())
        tasks.startCMDApp(opener, {folder});
}

} // namespace

LogWorld LogWorld::system() {
    LogWorld world;
    world.tasks = &TaskHelper::sharedInstance();
    world.files = &FileManager::sharedInstance();
    world.echo = Platform::systemLog;
    world.userName = accountName;
    world.runScript = [](const QString& source) {
        Platform::Error error;
        Platform::ScriptRunner(source).execute(&error);
        return error;
    };
    world.openFolder = [tasks = world.tasks](const QString& folder) {
        openInFileBrowser(*tasks, folder);
    };
    return world;
}
