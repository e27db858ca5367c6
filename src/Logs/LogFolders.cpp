#include "LogFolders.h"

#include "FileManager.h"
#include "Paths.h"
#include "TaskHelper.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

std::optional<QString> LogFolders::homeIn(const QString& environment) {
    const QString key = u"HOME="_s;
    for (QString line : environment.split(u'\n')) {
        if (!line.contains(key))
            continue;
        line.remove(key);
        // The first line that holds the key decides, even when it is another variable's whose name ends so.
        return line.startsWith(u'/') ? std::optional(line) : std::nullopt;
    }
    return std::nullopt;
}

const std::optional<QString>& LogFolders::shellHome() {
    std::call_once(m_shellAsked, [this] {
        QString environment;
        // Asked of the shell: it knows the login user's home even when our own environment differs. Where no such
        // command exists the answer is empty and the process environment decides.
        TaskHelper().excuteTaskPath(u"/bin/bash"_s, {u"-c"_s, u"ENV"_s}, &environment, nullptr);
        m_shellHome = homeIn(environment);
    });
    return m_shellHome;
}

QString LogFolders::rootDirectory() {
    const std::lock_guard lock(m_mutex);
    if (m_rootDirectory.isEmpty()) {
        QString directory = m_fixedDirectory;
        if (directory.isEmpty())
            directory =
                (shellHome() ? *shellHome() + u"/Library"_s : Platform::Paths::library()) + u"/Logs/QenCloud/Logs"_s;
        directory = FileManager().createDirectoryWithName({}, directory);
        // One that could not be made is tried again with the next line.
        if (!QFileInfo(directory).isDir())
            return directory;
        m_rootDirectory = directory;
    }
    return m_rootDirectory;
}

QString LogFolders::rootPath() {
    return QFileInfo(rootDirectory()).path();
}

QString LogFolders::desktopDirectory() {
    return shellHome() ? *shellHome() + u"/Desktop"_s : Platform::Paths::desktop();
}

void LogFolders::forgetRootDirectory() {
    const std::lock_guard lock(m_mutex);
    m_rootDirectory.clear();
}
