#include "FileManager.h"

#include "Files.h"
#include "Paths.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QString appended(const QString& directory, const QString& name) {
    if (name.isEmpty())
        return directory;
    return directory.endsWith(u'/') ? directory + name : directory + u'/' + name;
}

} // namespace

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
    // As a new one: a dangling link is not followed to wherever it leads.
    const bool isThere = QFileInfo::exists(path) ||
        QFile(path).open(QIODevice::WriteOnly | QIODevice::NewOnly, QFile::ReadOwner | QFile::WriteOwner) ||
        QFileInfo::exists(path);
    return isThere ? path : QString();
}

QString FileManager::createFilePathWithFileName(const QString& fileName, const QString& directory) const {
    return createFilePath(directory + u'/' + fileName);
}

QString FileManager::createAppRootDirectory() const {
    return createDirectoryWithName(u".AllUsers/QenCloud/QenCloud.EXE$"_s, Platform::Paths::users());
}

QString FileManager::createAppUpgradeRootDirectory() const {
    return createDirectoryWithName(u"AppUpgrade"_s, createAppRootDirectory());
}

QString FileManager::createAppPolicyRootDirectory() const {
    return createDirectoryWithName(u"Policy"_s, createAppRootDirectory());
}
