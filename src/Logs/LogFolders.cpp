#include "LogFolders.h"

#include "Paths.h"

#include <QFileInfo>
#include <QStringList>

using namespace Qt::StringLiterals;

std::optional<QString> LogFolders::homeIn(const QString& environment) {
    const QString key = u"HOME="_s;
    for (QString line : environment.split(u'\n')) {
        if (!line.contains(key))
            continue;
        line.remove(key);
        // The first line that holds the key decides, even when it is another variable's whose name ends so.
        if (!line.startsWith(u'/'))
            return std::nullopt;
        return line;
    }
    return std::nullopt;
}

std::optional<QString> LogFolders::shellHome() const {
    std::call_once(m_shellAsked, [this] {
        QString environment;
        // Asked of the shell: it knows the login user's home even when our own environment differs. Where no such
        // command exists the answer is empty and the process environment decides.
        m_tasks.excuteTaskPath(u"/bin/bash"_s, {u"-c"_s, u"ENV"_s}, &environment, nullptr);
        m_shellHome = homeIn(environment);
    });
    return m_shellHome;
}

QString LogFolders::rootDirectory() {
    const std::lock_guard lock(m_mutex);
    if (!m_rootDirectory.isEmpty())
        return m_rootDirectory;
    if (!m_fixedDirectory.isEmpty()) {
        m_rootPath = QFileInfo(m_fixedDirectory).path();
        m_rootDirectory = m_files.createDirectoryWithName({}, m_fixedDirectory);
        return m_rootDirectory;
    }
    const std::optional<QString> home = shellHome();
    const QString library = home ? *home + u"/Library"_s : Platform::Paths::library();
    const QString logs = m_files.createDirectoryWithName(u"Logs"_s, library);
    m_rootPath = m_files.createDirectoryWithName(u"QenCloud"_s, logs);
    m_rootDirectory = m_files.createDirectoryWithName(u"Logs"_s, m_rootPath);
    return m_rootDirectory;
}

QString LogFolders::rootPath() const {
    const std::lock_guard lock(m_mutex);
    return m_rootPath;
}

QString LogFolders::desktopDirectory() const {
    const std::optional<QString> home = shellHome();
    return home ? *home + u"/Desktop"_s : Platform::Paths::desktop();
}

void LogFolders::forgetRootDirectory() {
    const std::lock_guard lock(m_mutex);
    m_rootDirectory.clear();
}
