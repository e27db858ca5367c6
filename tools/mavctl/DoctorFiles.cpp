#include "Doctor.h"
#include "HttpSession.h"
#include "Paths.h"
#include "QenServerConfig.h"
#include "StateCatalogue.h"
#include "StateFiles.h"
#include "UniqueFd.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <future>

#include <sys/inotify.h>

using namespace Qt::StringLiterals;

namespace Paths = Platform::Paths;

namespace Doctor {

namespace {

constexpr double PingSeconds = 5.0;

QString text(const char* english) {
    return QString::fromLatin1(english);
}

QString namesOf(const QStringList& paths) {
    QStringList names;
    for (const QString& path : paths)
        names << path.section(u'/', -1);
    return names.join(text(", "));
}

} // namespace

Finding agentFolder() {
    const QString subject = text("agent's folder");
    const QFileInfo folder(Paths::agentState());
    if (!folder.isDir())
        return {subject, State::Problem, folder.filePath() + text(" does not exist"),
            text("Install the agent, or start it: it makes this folder.")};
    if (!folder.isReadable() || !folder.isExecutable())
        return {subject, State::Problem, folder.filePath() + text(" cannot be read"),
            text("As administrator, let everybody read it: chmod a+rx on the folder.")};
    return {subject, State::Good, folder.filePath()};
}

Finding agentFiles() {
    const QString subject = text("agent's files");
    QStringList damaged;
    QStringList unreadable;
    int present = 0;
    for (const StateCatalogue::File& file : StateCatalogue::all()) {
        const auto condition = StateCatalogue::stateOf(file.path, file.form).condition;
        if (!file.isAgents || condition == StateCatalogue::Condition::Missing)
            continue;
        ++present;
        if (condition == StateCatalogue::Condition::Damaged)
            (QFileInfo(file.path).isReadable() ? damaged : unreadable) << file.path;
    }
    if (!unreadable.isEmpty())
        return {subject, State::Problem, text("not readable: ") + namesOf(unreadable),
            text("As administrator, let everybody read them: chmod a+r.")};
    if (!damaged.isEmpty())
        return {subject, State::Problem, text("damaged: ") + namesOf(damaged),
            text("Restart the agent, which writes them anew; the client takes them for absent. "
                 "mavctl archive show FILE tells more.")};
    if (present == 0)
        return {subject, State::Problem, text("none"),
            text("Start the agent and connect it to its server: the client knows neither server nor policy.")};
    return {subject, State::Good, u"%1 present, all decode"_s.arg(present)};
}

Finding fileWatches() {
    const QString subject = text("file watches");
    const Platform::UniqueFd instance(inotify_init1(IN_CLOEXEC));
    if (instance.isOpen() && inotify_add_watch(instance.get(), "/", IN_ATTRIB) >= 0)
        return {subject, State::Good, text("available")};
    return {subject, State::Problem, text("the kernel gives no more: ") + qt_error_string(errno),
        text("As administrator, raise fs.inotify.max_user_instances and fs.inotify.max_user_watches.")};
}

Finding server() {
    const QString subject = text("server");
    const auto config =
        std::make_unique<QenServerConfig>(Paths::agentState() + u'/' + StateFiles::ServerList, Paths::userState());
    config->readServerConfig();
    const QString address = config->AcountIP_Config();
    if (address.isEmpty())
        return {subject, State::Problem, text("none is configured"),
            text("Enter the server's address in the client's first page, or have the administrator deploy it.")};
    const QString url = u"http://%1:%2/qen/ping"_s.arg(address).arg(config->AcountIP_Port());
    std::promise<Platform::Error> promise;
    Platform::HttpSession session({.acceptAnyServerCertificate = true});
    session.sendForJson({.url = url, .timeout = PingSeconds},
        [&promise](const QJsonObject&, const Platform::Error& error) { promise.set_value(error); });
    const Platform::Error error = promise.get_future().get();
    if (!error)
        return {subject, State::Good, url + text(" answers")};
    return {subject, State::Problem, url + text(": ") + error.localizedFailureReason(),
        text("Check the network and the address in the client's server settings; if both are right, ask the "
             "administrator whether the server runs.")};
}

Finding log() {
    const QString subject = text("log");
    const QFileInfo folder(Paths::library() + text("/Logs/QenCloud/Logs"));
    if (!folder.exists())
        return {subject, State::Warning, folder.filePath() + text(" does not exist"),
            text("Start the client once: it makes its log.")};
    const QString repair = u"Give the folder back to yourself: sudo chown -R \"$USER\" '%1'"_s.arg(folder.filePath());
    if (!folder.isDir() || !folder.isReadable() || !folder.isWritable())
        return {subject, State::Problem, folder.filePath() + text(" cannot be read and written"), repair};
    const auto files = QDir(folder.filePath()).entryInfoList({text("QenCloud-Info-*.log")}, QDir::Files);
    qint64 bytes = 0;
    for (const QFileInfo& file : files) {
        if (!file.isReadable() || !file.isWritable())
            return {subject, State::Problem, file.filePath() + text(" cannot be read and written"), repair};
        bytes += file.size();
    }
    if (bytes == 0)
        return {subject, State::Warning, folder.filePath() + text(" has no lines"),
            text("Start the client; if no line comes, the disk may be full.")};
    return {subject, State::Good, u"%1, %2 KiB"_s.arg(folder.filePath()).arg((bytes + 1023) / 1024)};
}

} // namespace Doctor
