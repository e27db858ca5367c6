#include "Workspace.h"

#include "DesktopEntry.h"
#include "Paths.h"
#include "QenTask.h"
#include "Queue.h"
#include "SystemLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Platform {

namespace {

constexpr qsizetype LongestFileName = 255;
constexpr qint64 LongestEntry = 64 * 1024;
constexpr qsizetype MostEntries = 4096;

QString withoutEnding(const QString& name) {
    for (const auto ending : {QLatin1String(".app"), QLatin1String(".desktop")}) {
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
    return file.open(QIODevice::ReadOnly) ? DesktopEntry::parse(file.read(LongestEntry)) : std::nullopt;
}

void start(const QStringList& command) {
    globalQueue().async([command] {
        // It is left alone when this object goes.
        QenTask task(command[0], command.mid(1), QenTask::Output::Inherited);
        if (const Error error = task.launch())
            systemLog(QStringLiteral("cannot start %1: %2").arg(command[0], error.localizedDescription()));
    });
}

} // namespace

Workspace::Folders Workspace::Folders::standard() {
    Folders folders{
        {Paths::rooted(QStringLiteral("/Applications")), Paths::rooted(QStringLiteral("/System/Applications"))},
        QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation),
        {}};
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
    const QString opener = programPath(QStringLiteral("xdg-open"));
    if (opener.isEmpty())
        systemLog(QStringLiteral("xdg-open is not installed: no address can be opened"));
    else
        start({opener, url});
}

bool Workspace::isInstalled(const QString& name) const {
    return !commandFor(name).isEmpty();
}

void Workspace::launchApplication(const QString& name) const {
    globalQueue().async([workspace = *this, name] {
        if (const QStringList command = workspace.commandFor(name); !command.isEmpty())
            start(command);
    });
}

QStringList Workspace::commandFor(const QString& name) const {
    if (!isFileName(name))
        return {};
    if (const QStringList command = bundleCommand(name); !command.isEmpty())
        return command;
    const QString plainName = withoutEnding(name);
    if (const QStringList command = entryCommand(plainName); !command.isEmpty())
        return command;
    const QString program = programPath(plainName);
    return program.isEmpty() ? QStringList() : QStringList{program};
}

QStringList Workspace::bundleCommand(const QString& name) const {
    for (const QString& folder : m_folders.applications) {
        const QString path = folder + u'/' + name;
        const QString inner = path + QStringLiteral("/Contents/MacOS/") + withoutEnding(name);
        for (const QString& program : {path, inner}) {
            if (isProgram(program))
                return {program};
        }
    }
    return {};
}

QStringList Workspace::entryCommand(const QString& plainName) const {
    const auto commandOf = [this](const DesktopEntry& entry) {
        const auto exists = [this](const QString& program) {
            return program.contains(u'/') ? isProgram(program) : !programPath(program).isEmpty();
        };
        if (!exists(entry.command[0]) || (!entry.tryExec.isEmpty() && !exists(entry.tryExec)))
            return QStringList();
        QStringList command = entry.command;
        if (!command[0].contains(u'/'))
            command[0] = programPath(command[0]);
        return command;
    };
    for (const QString& folder : m_folders.entries) {
        if (const auto entry = readEntry(folder + u'/' + plainName + QStringLiteral(".desktop")))
            return commandOf(*entry);
    }
    for (const QString& folder : m_folders.entries) {
        const QStringList names = QDir(folder).entryList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
        for (const QString& file : names.mid(0, MostEntries)) {
            const auto entry = readEntry(folder + u'/' + file);
            if (entry && (entry->name == plainName || QFileInfo(entry->command[0]).fileName() == plainName)) {
                if (const QStringList command = commandOf(*entry); !command.isEmpty())
                    return command;
            }
        }
    }
    return {};
}

QString Workspace::programPath(const QString& name) const {
    if (!isFileName(name))
        return {};
    for (const QString& folder : m_folders.programs) {
        if (isProgram(folder + u'/' + name))
            return folder + u'/' + name;
    }
    return {};
}

} // namespace Platform
