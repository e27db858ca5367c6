#include "HostTools.h"

#include "Paths.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <mutex>
#include <optional>

using namespace Qt::StringLiterals;

namespace Platform::HostTools {

namespace {

std::mutex mutex;
// Unset until somebody chooses: the default follows MAV_ROOT.
std::optional<QStringList>& chosenFolders() {
    static auto* list = new std::optional<QStringList>;
    return *list;
}

/// Where another package may have a command of the same name that answers in another way.
bool isSystemFolder(const QString& folder) {
    return folder == u"/usr/bin" || folder == u"/bin" || folder == u"/usr/sbin" || folder == u"/sbin";
}

} // namespace

QStringList folders() {
    {
        const std::lock_guard lock(mutex);
        if (const auto& chosen = chosenFolders())
            return *chosen;
    }
    const QString executable = QFile::symLinkTarget(u"/proc/self/exe"_s);
    return {Paths::applicationBundle() + u"/Contents/Tools"_s, QFileInfo(executable).path() + u"/hosttools"_s};
}

void setFolders(const QStringList& folders) {
    const std::lock_guard lock(mutex);
    chosenFolders() = folders;
}

QString resolved(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    if (name.isEmpty() || (!isSystemFolder(QFileInfo(path).path()) && QFileInfo::exists(path)))
        return path;
    for (const QString& folder : folders()) {
        const QFileInfo tool(folder + u'/' + name);
        if (tool.isFile() && tool.isExecutable())
            return tool.filePath();
    }
    return path;
}

QStringList resolvedArguments(const QString& program, const QStringList& arguments) {
    static const QRegularExpression command(u"(?:^|[|;&(])\\s*(/[A-Za-z0-9_./-]+)(?=[\\s|;&)]|$)"_s);
    const QString name = QFileInfo(program).fileName();
    const bool isShell = name == u"sh" || name == u"bash" || name == u"dash";
    if (!isShell || arguments.size() < 2 || arguments[0] != u"-c" || !arguments[1].contains(u'/'))
        return arguments;
    QString line;
    qsizetype end = 0;
    auto matches = command.globalMatch(arguments[1]);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QString path = match.captured(1);
        QString tool = resolved(path);
        if (tool != path)
            tool = u'\'' + tool.replace(u'\'', u"'\\''"_s) + u'\'';
        line += arguments[1].mid(end, match.capturedStart(1) - end) + tool;
        end = match.capturedEnd(1);
    }
    QStringList result = arguments;
    result[1] = line + arguments[1].mid(end);
    return result;
}

QString searchPath(const QString& searchPath) {
    QStringList parts;
    for (const QString& folder : folders()) {
        if (QFileInfo(folder).isDir())
            parts.append(folder);
    }
    parts.append(searchPath.isEmpty() ? u"/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"_s : searchPath);
    return parts.join(u':');
}

} // namespace Platform::HostTools
