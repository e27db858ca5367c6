#include "FileManager.h"

#include "Files.h"
#include "Paths.h"

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString appended(const QString& directory, const QString& name) {
    if (name.isEmpty())
        return directory;
    return directory.endsWith(u'/') ? directory + name : directory + u'/' + name;
}

} // namespace

FileManager::FileManager(QString usersFolder) : m_usersFolder(std::move(usersFolder)) {}

FileManager& FileManager::sharedInstance() {
    static auto* manager = new FileManager;
    return *manager;
}

QString FileManager::createDirectoryWithName(const QString& name, const QString& rootDirectory) const {
    const QString path = appended(rootDirectory, name);
    if (!path.isEmpty() && !QFileInfo::exists(path))
        Platform::makeFolder(path);
    return path;
}

QString FileManager::createFilePath(const QString& path) const {
    if (path.isEmpty())
        return {};
    if (QFileInfo::exists(path))
        return path;
    // Exclusive: a dangling link is not followed to wherever it leads.
    const int descriptor = open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return QFileInfo::exists(path) ? path : QString();
    close(descriptor);
    return path;
}

QString FileManager::createFilePathWithFileName(const QString& fileName, const QString& directory) const {
    return createFilePath(directory + u'/' + fileName);
}

QString FileManager::createAppRootDirectory() const {
    const QString users = m_usersFolder.isEmpty() ? Platform::Paths::users() : m_usersFolder;
    const QString folder = createDirectoryWithName(u".AllUsers/QenCloud"_s, users);
    return createDirectoryWithName(u"QenCloud.EXE$"_s, folder);
}

QString FileManager::createAppUpgradeRootDirectory() const {
    return createDirectoryWithName(u"AppUpgrade"_s, createAppRootDirectory());
}

QString FileManager::createAppPolicyRootDirectory() const {
    return createDirectoryWithName(u"Policy"_s, createAppRootDirectory());
}
