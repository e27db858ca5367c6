#include "AccountModel.h"
#include "FileEventStream.h"
#include "Paths.h"
#include "QenUIFileListener.h"
#include "StateCatalogue.h"
#include "StateFiles.h"
#include "Verb.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <csignal>
#include <thread>

#include <pthread.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// What the client makes of a changed record; empty for nothing.
QString recordNotice() {
    const auto record = AccountModel::currentModel(Platform::Paths::applicationSupport());
    const auto object = record ? QenUIFileListener::ticketNotice(*record) : std::nullopt;
    if (!object)
        return {};
    return object->isValid() ? u"ticket timed out"_s : u"domain session changed"_s;
}

QJsonObject change(const QString& path) {
    const QenUIFileListener::Change* meaning = QenUIFileListener::changeOf(path);
    const auto state = StateCatalogue::stateOf(path, StateCatalogue::formOf(path));
    QJsonObject object{{u"time"_s, QDateTime::currentDateTime().toString(Qt::ISODateWithMs)}, {u"path"_s, path},
        {u"file"_s, StateCatalogue::word(state.condition)}};
    if (meaning)
        object.insert(u"message"_s, meaning->line);
    const QString notice = path.endsWith(u"/"_s + StateFiles::Login) ? recordNotice() : QString();
    if (!notice.isEmpty())
        object.insert(u"notice"_s, notice);
    return object;
}

QByteArray lineOf(const QJsonObject& change, bool asJson) {
    if (asJson)
        return QJsonDocument(change).toJson(QJsonDocument::Compact) + '\n';
    QStringList words;
    for (const char* key : {"time", "message", "file", "notice", "path"}) {
        const QString word = change.value(QLatin1StringView(key)).toString();
        if (!word.isEmpty())
            words << word;
    }
    return words.join(u"  "_s).toUtf8() + '\n';
}

} // namespace

// Follows the same files with the same latency as the client, until a signal ends it or nobody reads any more.
Exit runWatch(const QStringList& arguments) {
    const bool asJson = arguments == QStringList{u"--json"_s};
    if (!asJson && !arguments.isEmpty())
        return Exit::Usage;
    // Blocked before any thread exists, so that only the one that waits for them gets them.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    bool isWritten = true;
    Platform::FileEventStream stream(
        QenUIFileListener::followedFiles(Platform::Paths::agentState(), Platform::Paths::applicationSupport()),
        QenUIFileListener::Latency, [&](const QStringList& paths) {
            for (const QString& path : paths)
                isWritten = isWritten && print(lineOf(change(path), asJson)) == Exit::Ok;
            if (!isWritten)
                kill(getpid(), SIGTERM);
        });
    std::thread waiting([&] {
        int signal = 0;
        sigwait(&ends, &signal);
        stream.stop();
    });
    stream.run();
    waiting.join();
    return isWritten ? Exit::Ok : Exit::Failure;
}
