#include "Workspace.h"

#include "Paths.h"
#include "QenTask.h"
#include "Queue.h"
#include "SystemLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using Folders = Workspace::Folders;

constexpr qsizetype LongestFileName = 255;
constexpr qint64 LongestEntry = 64 * 1024;
constexpr qsizetype MostEntries = 4096;

/// An application as the desktop knows it: what of its desktop entry is needed to find and start it.
struct DesktopEntry {
    QString name;
    /// Program and arguments, without the places for files and addresses; never empty.
    QStringList command;
    /// A program that must exist for the application to count as installed; empty for none.
    QString tryExec;
    /// Name or whole path of its icon.
    QString icon;
};

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

/// The escapes that any value may hold.
QString unescaped(const QString& value) {
    static constexpr QStringView Escapes = u"sntr\\";
    static constexpr QStringView Meanings = u" \n\t\r\\";
    QString text;
    for (qsizetype at = 0; at < value.size(); ++at) {
        const qsizetype escape = value[at] == u'\\' && at + 1 < value.size() ? Escapes.indexOf(value[at + 1]) : -1;
        text += escape < 0 ? value[at] : Meanings[escape];
        at += escape < 0 ? 0 : 1;
    }
    return text;
}

/// Keys of the main group; translations are left out.
QMap<QString, QString> mainGroup(const QByteArray& content) {
    QMap<QString, QString> values;
    bool isInside = false;
    for (const QByteArray& rawLine : content.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.startsWith(u'['))
            isInside = line == u"[Desktop Entry]";
        const qsizetype equals = line.indexOf(u'=');
        if (isInside && equals > 0 && !line.startsWith(u'#'))
            values.insert(line.left(equals).trimmed(), unescaped(line.mid(equals + 1).trimmed()));
    }
    return values;
}

QStringList execWords(const QString& exec) {
    QStringList words;
    QString word;
    bool isQuoted = false;
    bool isWord = false;
    for (qsizetype at = 0; at < exec.size(); ++at) {
        const QChar sign = exec[at];
        if (isQuoted && sign == u'\\' && at + 1 < exec.size()) {
            word += exec[++at];
        } else if (sign == u'"') {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (!isQuoted && sign.isSpace()) {
            if (isWord)
                words << word;
            word.clear();
            isWord = false;
        } else {
            word += sign;
            isWord = true;
        }
    }
    if (isQuoted)
        return {};
    if (isWord)
        words << word;
    return words;
}

/// Nothing for what is no visible application, needs a terminal, or names no program.
std::optional<DesktopEntry> parsed(const QByteArray& content) {
    static const QRegularExpression fieldCode(u"%(?:(%)|.?)"_s);
    const QMap<QString, QString> values = mainGroup(content);
    const auto isTrue = [&values](const QString& key) { return values.value(key) == u"true"; };
    if (values.value(u"Type"_s) != u"Application" || isTrue(u"Hidden"_s) || isTrue(u"Terminal"_s))
        return std::nullopt;
    DesktopEntry entry{values.value(u"Name"_s), {}, values.value(u"TryExec"_s), values.value(u"Icon"_s)};
    for (const QString& word : execWords(values.value(u"Exec"_s))) {
        const QString text = QString(word).replace(fieldCode, u"\\1"_s);
        // One that was nothing but a code is none.
        if (word.isEmpty() || !text.isEmpty())
            entry.command << text;
    }
    return entry.command.isEmpty() || entry.command[0].isEmpty() ? std::nullopt : std::optional(entry);
}

std::optional<DesktopEntry> readEntry(const QString& path) {
    QFile file(path);
    // Opening a pipe would wait for its writer.
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly) ? parsed(file.read(LongestEntry)) : std::nullopt;
}

/// A program on the PATH; empty when it is not there.
QString programPath(const Folders& folders, const QString& name) {
    // Without folders the search would go through the PATH of this process.
    return isFileName(name) && !folders.programs.isEmpty() ? QStandardPaths::findExecutable(name, folders.programs)
                                                           : QString();
}

/// The program that an entry names, by its whole path or on the PATH; empty when it is not there.
QString entryProgram(const Folders& folders, const QString& program) {
    if (!program.contains(u'/'))
        return programPath(folders, program);
    return QDir::isAbsolutePath(program) && isProgram(program) ? program : QString();
}

QStringList commandOf(const Folders& folders, const DesktopEntry& entry) {
    const QString program = entryProgram(folders, entry.command[0]);
    if (program.isEmpty() || (!entry.tryExec.isEmpty() && entryProgram(folders, entry.tryExec).isEmpty()))
        return {};
    return QStringList{program} + entry.command.mid(1);
}

/// The entry of that id, name or program, with the whole command that starts it.
std::optional<DesktopEntry> entryFor(const Folders& folders, const QString& plainName) {
    const auto startable = [&folders](std::optional<DesktopEntry> entry) {
        if (entry)
            entry->command = commandOf(folders, *entry);
        return entry && !entry->command.isEmpty() ? entry : std::nullopt;
    };
    const QString ownFile = plainName + u".desktop"_s;
    // The first file of an id counts, also when it says that the application is gone.
    for (const QString& folder : folders.entries) {
        const QString path = folder + u'/' + ownFile;
        if (!QFileInfo(path).isFile())
            continue;
        if (auto entry = startable(readEntry(path)))
            return entry;
        break;
    }
    QSet<QString> seen;
    for (const QString& folder : folders.entries) {
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

QStringList bundleCommand(const Folders& folders, const QString& name) {
    for (const QString& folder : folders.applications) {
        const QString path = folder + u'/' + name;
        const QString inner = path + u"/Contents/MacOS/"_s + withoutEnding(name);
        for (const QString& program : {path, inner}) {
            if (isProgram(program))
                return {program};
        }
    }
    return {};
}

/// Program and arguments; empty when there is nothing to start.
QStringList commandFor(const Folders& folders, const QString& name) {
    if (!isFileName(name))
        return {};
    if (const QStringList command = bundleCommand(folders, name); !command.isEmpty())
        return command;
    const QString plainName = withoutEnding(name);
    if (const auto entry = entryFor(folders, plainName))
        return entry->command;
    const QString program = programPath(folders, plainName);
    return program.isEmpty() ? QStringList() : QStringList{program};
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
    const QString opener = programPath(m_folders, u"xdg-open"_s);
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
        !commandFor(m_folders, name).isEmpty();
}

void Workspace::launchApplication(const QString& name) const {
    globalQueue().async([folders = m_folders, name] {
        if (const QStringList command = commandFor(folders, name); !command.isEmpty())
            start(command);
    });
}

QString Workspace::iconOf(const QString& name) const {
    if (!isFileName(name))
        return {};
    const QString plainName = withoutEnding(name);
    const auto entry = entryFor(m_folders, plainName);
    return entry ? entry->icon : plainName;
}

} // namespace Platform
