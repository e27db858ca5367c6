#include "LogExport.h"

#include "Deployment.h"
#include "Paths.h"
#include "ScriptRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using Platform::ScriptRunner;

namespace {

constexpr int LogFolderType = 8;

/// Exit statuses with which zip leaves a sound archive, or none for an empty folder.
constexpr int ZipDone = 0;
constexpr int ZipNothingToDo = 12;
constexpr int ZipSomeUnreadable = 18;

const QByteArray ArchiveMagic("PK\3\4");

/// Time for the shell to end once it has closed its output.
constexpr double ShellEndSeconds = 2;

/// What the failure of a command is called that says nothing itself.
const QString Unfinished = QStringLiteral("zip did not finish");

/// Removes the archives under temporary names that a zip leaves in @p folder when it is killed: while it works, zip
/// writes to "zi" and six more characters. Files of others that happen to be named so are no archives.
void removeUnfinished(const QString& folder) {
    static const QRegularExpression temporaryName(QStringLiteral("^zi[A-Za-z0-9]{6}$"));
    const QFileInfoList files =
        QDir(folder).entryInfoList({QStringLiteral("zi??????")}, QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    for (const QFileInfo& info : files) {
        QFile file(info.filePath());
        if (!temporaryName.match(info.fileName()).hasMatch() || !file.open(QIODevice::ReadOnly))
            continue;
        if (file.size() == 0 || file.peek(ArchiveMagic.size()) == ArchiveMagic)
            file.remove();
    }
}

bool isWritableFolder(const QString& path) {
    const QFileInfo info(path);
    return info.isDir() && info.isWritable();
}

/// What zip printed, without the names of the files that it took in.
QString complaints(const QString& output) {
    QStringList lines = output.split(u'\n', Qt::SkipEmptyParts);
    lines.removeIf([](const QString& line) { return line.startsWith(QStringLiteral("  adding: ")); });
    return lines.join(u'\n').trimmed();
}

bool endedWell(const TaskHelper::TaskPointer& task) {
    if (!task || !task->waitUntilExitWithTimeout(ShellEndSeconds, true, true) || task->wasSignalled())
        return false;
    const int status = task->terminationStatus();
    return status == ZipDone || status == ZipNothingToDo || status == ZipSomeUnreadable;
}

} // namespace

LogExport::LogExport(Platform::SerialQueue& queue, LogFolders& folders, const LogWorld& world, Ring ring)
    : m_queue(queue), m_folders(folders), m_world(world), m_ring(std::move(ring)) {}

QStringList LogExport::zipArguments(const QString& folder, const QString& archive) {
    // The "--" keeps files whose names look like options from being taken for some.
    const QString place = ScriptRunner::shellQuoted(archive) + QStringLiteral(" --");
    return {QStringLiteral("-c"),
            QStringLiteral("cd %1 && zip -r %2 * ").arg(ScriptRunner::shellQuoted(folder), place)};
}

QString LogExport::ownerScript(const QString& user, const QString& folder) {
    static const QRegularExpression plainName(QStringLiteral("^[A-Za-z0-9_.][A-Za-z0-9_.@-]*$"));
    const QString owner = plainName.match(user).hasMatch() ? user : ScriptRunner::shellQuoted(user);
    QString place = folder;
    place.replace(u'\'', QStringLiteral("'\\''"));
    return QStringLiteral("do shell script \"chown %1:staff '%2' \" with administrator privileges")
        .arg(ScriptRunner::escaped(owner), ScriptRunner::escaped(place));
}

void LogExport::repairLogFolder(const Completion& complete) {
    const QString directory = m_folders.rootDirectory();
    if (QFileInfo(directory).isDir())
        return;
    m_folders.forgetRootDirectory();
    const Platform::Error error = m_world.runScript(ownerScript(m_world.userName(), m_folders.rootPath()));
    if (!error) {
        m_ring.writeLog(QStringLiteral("Logs path chown success."), LogFolderType);
        m_ring.createLogFiles();
        return;
    }
    m_ring.writeLog(QStringLiteral("Logs path chown failed: %1").arg(error.logText()), LogFolderType);
    m_ring.writeLog(QStringLiteral("无法找到日志目录：%1").arg(directory), LogFolderType);
    // The export goes on all the same, on purpose, and completes once more.
    complete(false, QStringLiteral("无法找到日志目录"));
}

QString LogExport::agentLogFolder() const {
    QString folder = Platform::Paths::localLibrary();
    for (const QString& name :
         {QStringLiteral("Logs"), QStringLiteral("QenCloud"), QStringLiteral("v5"), QStringLiteral("Logs")})
        folder = m_world.files->createDirectoryWithName(name, folder);
    return folder;
}

/// @returns what went wrong, empty when nothing did; no archive is left then
QString LogExport::zip(const QString& folder, const QString& archive) const {
    const QString place = QFileInfo(archive).path();
    QFile::remove(archive);
    removeUnfinished(place);
    TaskHelper::TaskPointer task;
    QString failure;
    QString output;
    m_world.tasks->excuteTaskPath(
        QStringLiteral("/bin/bash"), zipArguments(folder, archive),
        [&](const TaskHelper::TaskPointer& launched) { task = launched; },
        [&](const QString& result, const Platform::Error& error) {
            output = result;
            failure = error ? error.logText() : QString();
        });
    const bool isSound = endedWell(task);
    // With nothing to pack, zip does not look at the place.
    if (isSound && failure.isEmpty() && !isWritableFolder(place))
        return QStringLiteral("cannot write to %1").arg(place);
    if (isSound)
        return failure;
    QFile::remove(archive);
    removeUnfinished(place);
    // zip reports some of its errors on standard output; one that was killed reports none.
    if (failure.isEmpty())
        failure = complaints(output);
    return failure.isEmpty() ? Unfinished : failure;
}

bool LogExport::zipAgentLogs(const QString& archive, const Completion& complete) const {
    const QString failure = zip(agentLogFolder(), archive);
    if (failure.isEmpty())
        return true;
    QFile::remove(archive);
    complete(false, QStringLiteral("提取所有日志失败:%1").arg(failure));
    return false;
}

void LogExport::zipLogs(Completion complete) {
    m_queue.async([this, complete = std::move(complete)] {
        repairLogFolder(complete);
        m_queue.async([this, complete] {
            if (!zipAgentLogs(m_folders.rootDirectory() + QStringLiteral("/QenCloudLogs.zip"), complete))
                return;
            m_queue.async([this, complete] {
                const QString directory = m_folders.rootDirectory();
                const QString folder = m_folders.rootPath();
                zip(directory, folder + QStringLiteral("/QenCloudAllLogs.zip"));
                m_world.openFolder(folder);
                complete(true, {});
            });
        });
    });
}

void LogExport::zipLogsWithDirectory(const QString& directory, Completion complete) {
    m_queue.async([this, directory, complete = std::move(complete)] {
        const QString target = m_world.files->createDirectoryWithName(QStringLiteral("MavLogs"), directory);
        repairLogFolder(complete);
        m_queue.async([this, directory, target, complete] {
            if (!zipAgentLogs(target + QStringLiteral("/MavCloudLogs.zip"), complete))
                return;
            m_queue.async([this, directory, target, complete] {
                // Their outcome is not checked, on purpose: whatever can be packed is worth having.
                zip(m_folders.rootDirectory(), target + QStringLiteral("/MavUserLogs.zip"));
                zip(Platform::Paths::agentState(), target + QStringLiteral("/MavCloud.zip"));
                zip(m_world.files->createAppRootDirectory(), target + QStringLiteral("/MavSqlite.zip"));
                zip(Platform::Paths::localLibrary() + QStringLiteral("/Logs/") + Platform::Deployment::VpnLogFolder,
                    target + QStringLiteral("/MavZelVPN.zip"));
                m_world.openFolder(directory);
                complete(true, {});
            });
        });
    });
}
