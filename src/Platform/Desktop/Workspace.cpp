#include "Workspace.h"

#include "DesktopEntry.h"
#include "Paths.h"
#include "QenTask.h"
#include "Queue.h"
#include "SystemLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

constexpr qsizetype LongestFileName = 255;
constexpr qint64 LongestEntry = 64 * 1024;
constexpr qsizetype MostEntries = 4096;

QString withoutEnding(const QString& name) {
    for (const auto ending : {".app"_L1, ".desktop"_L1}) {
        if (name.size() > ending.size() && name.endsWith(ending))
            return name.chopped(ending.size());
    }
    return name;
}

bool isFileName(const QString& name) {
    return !name.isEmpty() && name != u"." && name != u".." && !name.contains(u'/') && !name.contains(QChar(0)) &&
        name.toUtf8().size() <= LongestFileName;
}

bool isProgram(const QString& path) {
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

std::optional<DesktopEntry> readEntry(const QString& path) {
    QFile file(path);
    // Opening a pipe would wait for its writer.
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) ? DesktopEntry::parse(file.read(LongestEntry))
                                                                      : std::nullopt;
}

void start(const QStringList& command) {
    globalQueue().async([command] {
        // It is left alone when this object goes.
        QenTask task(command[0], command.mid(1), QenTask::Output::Inherited);
        if (const Error error = task.launch())
            systemLog(u"cannot start %1: %2"_s.arg(command[0], error.localizedDescription()));
    });
}

} // namespace

Workspace::Folders Workspace::Folders::standard() {
    Folders folders{{Paths::rooted(u"/Applications"_s), Paths::rooted(u"/System/Applications"_s)},
        QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation), {}};
    for (const QString& folder : qEnvironmentVariable("PATH").split(u':', Qt::SkipEmptyParts)) {
        if (QDir::isAbsolutePath(folder))
            folders.programs << folder;
    }
    return folders;
}

Workspace::Workspace(Folders folders) : m_folders(std::move(folders)) {}

void Workspace::openUrl(const QString& url) const {
    if (url.trimmed().isEmpty() || url.startsWith(u'-'))
        return;
    const QString opener = programPath(u"xdg-open"_s);
    if (opener.isEmpty())
        systemLog(u"xdg-open is not installed: no address can be opened"_s);
    else
        start({opener, url});
}

bool Workspace::isInstalled(const QString& name) const {
    if (!isFileName(name))
        return false;
    // In an application folder its being there is enough, whether or not there is something in it to start.
    const auto holdsName = [&name](const QString& folder) { return QFileInfo::exists(folder + u'/' + name); };
    return std::any_of(m_folders.applications.cbegin(), m_folders.applications.cend(), holdsName) ||
        !commandFor(name).isEmpty();
}

void Workspace::launchApplication(const QString& name) const {
    globalQueue().async([workspace = *this, name] {
        if (const QStringList command = workspace.commandFor(name); !command.isEmpty())
            start(command);
    });
}

QString Workspace::iconOf(const QString& name) const {
    if (!isFileName(name))
        return {};
    const QString plainName = withoutEnding(name);
    const auto entry = entryFor(plainName);
    return entry ? entry->icon : plainName;
}

QStringList Workspace::commandFor(const QString& name) const {
    if (!isFileName(name))
        return {};
    if (const QStringList command = bundleCommand(name); !command.isEmpty())
        return command;
    const QString plainName = withoutEnding(name);
    if (const auto entry = entryFor(plainName))
        return entry->command;
    const QString program = programPath(plainName);
    return program.isEmpty() ? QStringList() : QStringList{program};
}

QStringList Workspace::bundleCommand(const QString& name) const {
    for (const QString& folder : m_folders.applications) {
        const QString path = folder + u'/' + name;
        const QString inner = path + u"/Contents/MacOS/"_s + withoutEnding(name);
        for (const QString& program : {path, inner}) {
            if (isProgram(program))
                return {program};
        }
    }
    return {};
}

std::optional<DesktopEntry> Workspace::entryFor(const QString& plainName) const {
    const auto startable = [this](std::optional<DesktopEntry> entry) {
        if (entry)
            entry->command = commandOf(*entry);
        return entry && !entry->command.isEmpty() ? entry : std::nullopt;
    };
    const QString ownFile = plainName + u".desktop"_s;
    // The first file of an id counts, also when it says that the application is gone.
    for (const QString& folder : m_folders.entries) {
        const QString path = folder + u'/' + ownFile;
        if (!QFileInfo(path).isFile())
            continue;
        if (auto entry = startable(readEntry(path)))
            return entry;
        break;
    }
    QSet<QString> seen;
    for (const QString& folder : m_folders.entries) {
        const QStringList names = QDir(folder).entryList({u"*.desktop"_s}, QDir::Files, QDir::Name);
        for (const QString& file : names.mid(0, MostEntries)) {
            if (seen.contains(file))
                continue;
            seen.insert(file);
            const auto entry = readEntry(folder + u'/' + file);
            if (!entry || (entry->name != plainName && QFileInfo(entry->command[0]).fileName() != plainName))
                continue;
            if (auto found = startable(entry))
                return found;
        }
    }
    return std::nullopt;
}

QStringList Workspace::commandOf(const DesktopEntry& entry) const {
    const QString program = entryProgram(entry.command[0]);
    if (program.isEmpty() || (!entry.tryExec.isEmpty() && entryProgram(entry.tryExec).isEmpty()))
        return {};
    return QStringList{program} + entry.command.mid(1);
}

QString Workspace::entryProgram(const QString& program) const {
    if (!program.contains(u'/'))
        return programPath(program);
    return QDir::isAbsolutePath(program) && isProgram(program) ? program : QString();
}

QString Workspace::programPath(const QString& name) const {
    // Without folders the search would go through the PATH of this process.
    return isFileName(name) && !m_folders.programs.isEmpty() ? QStandardPaths::findExecutable(name, m_folders.programs)
                                                             : QString();
}

} // namespace Platform
