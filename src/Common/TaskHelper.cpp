#include "TaskHelper.h"

#include "HostTools.h"

#include <QFileInfo>
#include <QStringDecoder>

#include <optional>

using namespace Qt::StringLiterals;

using Platform::Error;
using Platform::QenTask;

namespace {

std::optional<QString> decoded(const QByteArray& bytes) {
    QStringDecoder decoder(
        QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    const QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

Error commandError(const QString& reason) {
    return Error(QString(), -1, {}, reason);
}

Error errorFromOutput(const QByteArray& standardError) {
    return commandError(decoded(standardError).value_or(u"unknown error"_s));
}

} // namespace

TaskHelper& TaskHelper::sharedInstance() {
    static auto* helper = new TaskHelper;
    return *helper;
}

TaskHelper::TaskPointer TaskHelper::excuteTaskPath(
    const QString& path, const QStringList& argvs, QString* result, Error* error) const {
    const QString executable = Platform::HostTools::resolved(path);
    if (!QFileInfo::exists(executable))
        return nullptr;
    auto task = std::make_shared<QenTask>(executable, argvs);
    if (const Error failure = task->launch()) {
        if (error)
            *error = commandError(failure.localizedDescription());
        return task;
    }
    // Read only after the end, on purpose: a command that fills its pipe blocks until the limit stops it, so commands
    // run this way stay terse.
    task->waitUntilExitWithTimeout(m_limitSeconds, true, true);
    const QByteArray output = task->readStandardOutputToEnd();
    const QByteArray errorOutput = task->readStandardErrorToEnd();
    if (!output.isEmpty() && errorOutput.isEmpty()) {
        if (result)
            *result = decoded(output).value_or(QString());
    } else if (!errorOutput.isEmpty() && error) {
        *error = errorFromOutput(errorOutput);
    }
    task->closeReadingHandles();
    return task;
}

void TaskHelper::excuteTaskPath(const QString& path, const QStringList& argvs,
    const std::function<void(const TaskPointer&)>& isRunning,
    const std::function<void(const QString&, const Error&)>& complete) const {
    auto task = std::make_shared<QenTask>(Platform::HostTools::resolved(path), argvs);
    // Waits for nothing: the command has not started.
    task->waitUntilExit();
    if (const Error failure = task->launch()) {
        if (complete)
            complete({}, commandError(failure.localizedDescription()));
        return;
    }
    if (isRunning)
        isRunning(task);
    const QByteArray output = task->readStandardOutputToEnd();
    const QByteArray errorOutput = task->readStandardErrorToEnd();
    task->closeReadingHandles();
    if (complete) {
        complete(output.isEmpty() ? QString() : decoded(output).value_or(QString()),
            errorOutput.isEmpty() ? Error() : errorFromOutput(errorOutput));
    }
}

void TaskHelper::startCMDApp(const QString& path, const QStringList& argvs) const {
    QenTask task(Platform::HostTools::resolved(path), argvs, QenTask::Output::Inherited);
    task.waitUntilExit();
    // Nobody asks whether it started.
    static_cast<void>(task.launch());
}

bool TaskHelper::processRunning(const QString&) const {
    QString result;
    Error error;
    excuteTaskPath(u"/bin/ps"_s, {u"aux"_s, u"|grep"_s}, &result, &error);
    // The outcome is ignored on purpose, and "|grep" is no pipe here.
    return true;
}
