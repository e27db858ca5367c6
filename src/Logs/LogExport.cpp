#include "Deployment.h"
#include "FileManager.h"
#include "Paths.h"
#include "QenLogHelper.h"
#include "ScriptRunner.h"
#include "TaskHelper.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

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

/// Removes the archives under temporary names that a zip leaves in @p folder when it is killed: while it works, zip
/// writes to "zi" and six more characters. Files of others that happen to be named so are no archives.
void removeUnfinished(const QString& folder) {
    static const QRegularExpression temporaryName(u"^zi[A-Za-z0-9]{6}$"_s);
    const QFileInfoList files =
        QDir(folder).entryInfoList({u"zi??????"_s}, QDir::Files | QDir::Hidden | QDir::NoSymLinks);
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
    lines.removeIf([](const QString& line) { return line.startsWith(u"  adding: "_s); });
    return lines.join(u'\n').trimmed();
}

bool endedWell(const TaskHelper::TaskPointer& task) {
    if (!task || !task->waitUntilExitWithTimeout(ShellEndSeconds, true, true) || task->wasSignalled())
        return false;
    const int status = task->terminationStatus();
    return status == ZipDone || status == ZipNothingToDo || status == ZipSomeUnreadable;
}

/// The shell line that packs the content of @p folder into @p archive. Names reach the shell and zip as plain names,
/// whatever they contain; the "--" keeps files whose names look like options from being taken for some.
QString zipCommand(const QString& folder, const QString& archive) {
    const QString place = ScriptRunner::shellQuoted(archive) + u" --"_s;
    return u"cd %1 && zip -r %2 * "_s.arg(ScriptRunner::shellQuoted(folder), place);
}

/// @returns what went wrong, empty when nothing did; no archive is left then
QString zip(const QString& folder, const QString& archive) {
    const QString place = QFileInfo(archive).path();
    QFile::remove(archive);
    removeUnfinished(place);
    TaskHelper::TaskPointer task;
    QString failure;
    QString output;
    TaskHelper().excuteTaskPath(
        u"/bin/bash"_s, {u"-c"_s, zipCommand(folder, archive)},
        [&](const TaskHelper::TaskPointer& launched) { task = launched; },
        [&](const QString& result, const Platform::Error& error) {
            output = result;
            failure = error ? error.logText() : QString();
        });
    const bool isSound = endedWell(task);
    // With nothing to pack, zip does not look at the place.
    if (isSound && failure.isEmpty() && !isWritableFolder(place))
        return u"cannot write to %1"_s.arg(place);
    if (isSound)
        return failure;
    QFile::remove(archive);
    removeUnfinished(place);
    // zip reports some of its errors on standard output; one that was killed reports none.
    if (failure.isEmpty())
        failure = complaints(output);
    return failure.isEmpty() ? u"zip did not finish"_s : failure;
}

/// The agent's logs into @p archive; false when that failed, which ends the export.
bool zipAgentLogs(const QString& archive, const QenLogHelper::Completion& complete) {
    const QString folder =
        FileManager().createDirectoryWithName(u"Logs/QenCloud/v5/Logs"_s, Platform::Paths::localLibrary());
    const QString failure = zip(folder, archive);
    if (failure.isEmpty())
        return true;
    QFile::remove(archive);
    complete(false, u"提取所有日志失败:%1"_s.arg(failure));
    return false;
}

/// The script that gives @p folder to @p user.
QString ownerScript(const QString& user, const QString& folder) {
    static const QRegularExpression plainName(u"^[A-Za-z0-9_.][A-Za-z0-9_.@-]*$"_s);
    const QString owner = plainName.match(user).hasMatch() ? user : ScriptRunner::shellQuoted(user);
    QString place = folder;
    place.replace(u'\'', u"'\\''"_s);
    return u"do shell script \"chown %1:staff '%2' \" with administrator privileges"_s.arg(
        ScriptRunner::escaped(owner), ScriptRunner::escaped(place));
}

} // namespace

void QenLogHelper::repairLogFolder(const Completion& complete) {
    const QString directory = m_folders.rootDirectory();
    const QString rootPath = m_folders.rootPath();
    if (QFileInfo(directory).isDir())
        return;
    m_folders.forgetRootDirectory();
    const Platform::Error error = m_world.runScript(ownerScript(m_world.userName(), rootPath));
    if (!error) {
        writeLog(u"Logs path chown success."_s, LogFolderType);
        m_ring.createLogFiles();
        return;
    }
    writeLog(u"Logs path chown failed: %1"_s.arg(error.logText()), LogFolderType);
    writeLog(u"无法找到日志目录：%1"_s.arg(directory), LogFolderType);
    // The export goes on all the same, on purpose, and completes once more.
    complete(false, u"无法找到日志目录"_s);
}

void QenLogHelper::beginExport(Completion complete, std::function<void(const Completion&)> steps) {
    endBurst();
    if (!complete)
        complete = [](bool, const QString&) {};
    m_zipQueue.async([complete = std::move(complete), steps = std::move(steps)] { steps(complete); });
}

void QenLogHelper::zipLogs(Completion complete) {
    beginExport(std::move(complete), [this](const Completion& done) {
        repairLogFolder(done);
        const QString directory = m_folders.rootDirectory();
        if (!zipAgentLogs(directory + u"/QenCloudLogs.zip"_s, done))
            return;
        const QString folder = m_folders.rootPath();
        zip(directory, folder + u"/QenCloudAllLogs.zip"_s);
        m_world.openFolder(folder);
        done(true, {});
    });
}

void QenLogHelper::zipLogsWithDirectory(const QString& directory, Completion complete) {
    beginExport(std::move(complete), [this, directory](const Completion& done) {
        const FileManager files;
        const QString target = files.createDirectoryWithName(u"MavLogs"_s, directory) + u'/';
        repairLogFolder(done);
        if (!zipAgentLogs(target + u"MavCloudLogs.zip"_s, done))
            return;
        // Their outcome is not checked, on purpose: whatever can be packed is worth having.
        zip(m_folders.rootDirectory(), target + u"MavUserLogs.zip"_s);
        zip(Platform::Paths::agentState(), target + u"MavCloud.zip"_s);
        zip(files.createAppRootDirectory(), target + u"MavSqlite.zip"_s);
        zip(Platform::Paths::localLibrary() + u"/Logs/"_s + Deployment::VpnLogFolder, target + u"MavZelVPN.zip"_s);
        m_world.openFolder(directory);
        done(true, {});
    });
}
