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

/// Time for what runs when the client ends: a zip takes its unfinished archive away when it is told to end.
constexpr std::chrono::seconds EndOfExports{3};

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

/// What zip complained of, in one line: it names the files that it takes in as well, and prints in paragraphs.
QString complaints(const QString& output) {
    QStringList lines = output.split(u'\n', Qt::SkipEmptyParts);
    lines.removeIf([](const QString& line) { return line.startsWith(u"  adding: "_s); });
    return lines.join(u' ').simplified();
}

/// The exit status; -1 for a command that was not launched or did not end by itself.
int endOf(const TaskHelper::TaskPointer& task) {
    const bool ended = task && task->waitUntilExitWithTimeout(ShellEndSeconds, true, true) && !task->wasSignalled();
    return ended ? task->terminationStatus() : -1;
}

/// The shell line that packs the content of @p folder, hidden files as well, into @p archive, which only its owner can
/// read. Names reach the shell and zip as plain names, whatever they contain.
QString zipCommand(const QString& folder, const QString& archive) {
    return u"umask 077 && cd %1 && zip -r %2 . "_s.arg(
        ScriptRunner::shellQuoted(folder), ScriptRunner::shellQuoted(archive));
}

/// The script that gives @p folder to @p user.
QString ownerScript(const QString& user, const QString& folder) {
    static const QRegularExpression plainName(u"^[A-Za-z0-9_.][A-Za-z0-9_.@-]*$"_s);
    const QString owner = plainName.match(user).hasMatch() ? user : ScriptRunner::shellQuoted(user);
    return u"do shell script \"chown %1:staff %2 \" with administrator privileges"_s.arg(
        ScriptRunner::escaped(owner), ScriptRunner::escaped(ScriptRunner::shellQuoted(folder)));
}

} // namespace

int QenLogHelper::runPacker(const QString& path, const QStringList& argvs, QString& output, QString& failure) {
    TaskHelper::TaskPointer task;
    TaskHelper().excuteTaskPath(
        path, argvs,
        [&](const TaskHelper::TaskPointer& launched) {
            task = launched;
            setRunningPacker(launched);
        },
        [&](const QString& result, const Platform::Error& error) {
            output = result;
            failure = error ? error.logText().simplified() : QString();
        });
    const int status = endOf(task);
    setRunningPacker(nullptr);
    return status;
}

QString QenLogHelper::zip(const QString& folder, const QString& archive) {
    const QString place = QFileInfo(archive).path();
    QFile::remove(archive);
    removeUnfinished(place);
    QString output;
    QString failure;
    const int status = runPacker(u"/bin/bash"_s, {u"-c"_s, zipCommand(folder, archive)}, output, failure);
    if (status == ZipDone || status == ZipNothingToDo || status == ZipSomeUnreadable) {
        if (status == ZipSomeUnreadable)
            writeLog(u"QenCloud export log left out: "_s + complaints(output));
        // With nothing to pack, zip does not look at the place.
        return isWritableFolder(place) ? QString() : u"cannot write to %1"_s.arg(place);
    }
    QFile::remove(archive);
    removeUnfinished(place);
    // zip reports some of its errors on standard output; one that was killed reports none.
    if (failure.isEmpty())
        failure = complaints(output);
    return failure.isEmpty() ? u"zip did not finish"_s : failure;
}

bool QenLogHelper::zipAgentLogs(const QString& archive, const Completion& complete) {
    const QString folder =
        FileManager().createDirectoryWithName(u"Logs/QenCloud/v5/Logs"_s, Platform::Paths::localLibrary());
    const QString failure = zip(folder, archive);
    if (failure.isEmpty())
        return true;
    complete(false, u"提取所有日志失败:%1"_s.arg(failure));
    return false;
}

void QenLogHelper::setRunningPacker(const std::shared_ptr<Platform::QenTask>& task) {
    const std::lock_guard lock(m_zipMutex);
    m_runningPacker = task;
    if (m_isEnding && m_runningPacker)
        m_runningPacker->terminate();
}

void QenLogHelper::endExports() {
    {
        const std::lock_guard lock(m_zipMutex);
        m_isEnding = true;
        if (m_runningPacker)
            m_runningPacker->terminate();
    }
    const auto ended = std::make_shared<std::promise<void>>();
    m_zipQueue.async([ended] { ended->set_value(); });
    ended->get_future().wait_for(EndOfExports);
}

bool QenLogHelper::isEnding(const Completion& complete) {
    std::unique_lock lock(m_zipMutex);
    const bool isEnding = m_isEnding;
    lock.unlock();
    if (isEnding)
        complete(false, u"the client ended"_s);
    return isEnding;
}

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

void QenLogHelper::makeReport(const QString& directory, Completion complete) {
    beginExport(std::move(complete), [this, directory](const Completion& done) {
        const QString report = FileManager().createDirectoryWithName(u"MavLogs"_s, directory) + u"/MavReport.zip"_s;
        QFile::remove(report); // as an export does; the reporter itself replaces nothing
        QString output;
        QString failure;
        if (runPacker(m_world.reporter, {u"report"_s, report}, output, failure) != 0) {
            done(false, failure.isEmpty() ? u"no report was made"_s : failure);
            return;
        }
        m_world.openFolder(directory);
        done(true, {});
    });
}

void QenLogHelper::zipLogs(Completion complete) {
    beginExport(std::move(complete), [this](const Completion& done) {
        repairLogFolder(done);
        const QString directory = m_folders.rootDirectory();
        if (!zipAgentLogs(directory + u"/QenCloudLogs.zip"_s, done))
            return;
        const QString folder = m_folders.rootPath();
        zip(directory, folder + u"/QenCloudAllLogs.zip"_s);
        if (isEnding(done))
            return;
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
        if (isEnding(done))
            return;
        m_world.openFolder(directory);
        done(true, {});
    });
}
