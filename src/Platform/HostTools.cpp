#include "HostTools.h"

#include "Paths.h"

#include <QFileInfo>

#include <mutex>
#include <optional>

namespace Platform::HostTools {

namespace {

std::mutex mutex;
// Unset until somebody chooses: the default follows MAV_ROOT.
std::optional<QStringList>& chosenFolders() {
    static auto* list = new std::optional<QStringList>;
    return *list;
}

} // namespace

QStringList folders() {
    {
        const std::lock_guard lock(mutex);
        if (const auto& chosen = chosenFolders())
            return *chosen;
    }
    const QString executable = QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
    return {Paths::applicationBundle() + QStringLiteral("/Contents/Tools"),
            QFileInfo(executable).path() + QStringLiteral("/hosttools")};
}

void setFolders(const QStringList& folders) {
    const std::lock_guard lock(mutex);
    chosenFolders() = folders;
}

QString resolved(const QString& path) {
    if (QFileInfo::exists(path))
        return path;
    const QString name = QFileInfo(path).fileName();
    if (name.isEmpty())
        return path;
    for (const QString& folder : folders()) {
        const QFileInfo tool(folder + u'/' + name);
        if (tool.isFile() && tool.isExecutable())
            return tool.filePath();
    }
    return path;
}

QString searchPath(const QString& searchPath) {
    QStringList parts;
    for (const QString& folder : folders()) {
        if (QFileInfo(folder).isDir())
            parts.append(folder);
    }
    parts.append(searchPath.isEmpty() ? QStringLiteral("/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin") : searchPath);
    return parts.join(u':');
}

} // namespace Platform::HostTools
