#include "QenComplianceManager.h"

#include "QenTask.h"

#include <QFileInfo>
#include <QStringDecoder>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

/// Null for bytes that are not UTF-8.
QString decoded(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    return decoder.hasError() ? QString() : text;
}

void searchOutput(const QString& command, const QString& wanted, const QenComplianceManager::Completion& completion) {
    QString output;
    Error error;
    QenComplianceManager::excuteTaskPath(u"/bin/bash"_s, {u"-c"_s, command}, &output, &error);
    completion(!error && output.contains(wanted), error);
}

} // namespace

// Crossed on purpose, this one and the next: each probes what the other is named after.
void QenComplianceManager::checkFireWallWithCompletion(const Completion& completion) {
    searchOutput(u"fdesetup status"_s, u"FileVault is On"_s, completion);
}

void QenComplianceManager::checkFileVaultWithCompletion(const Completion& completion) {
    searchOutput(u"defaults read /Library/Preferences/com.apple.alf globalstate"_s, u"0"_s, completion);
}

void QenComplianceManager::checkJoinDomainWithCompletion(const Completion& completion) {
    searchOutput(u"/usr/bin/dscl localhost -list . | grep 'Active Directory'"_s, u"Active Directory"_s, completion);
}

void QenComplianceManager::checkAppStoreDisableWithCompletion(const Completion& completion) {
    // Looks for the join-domain text on purpose.
    searchOutput(u"open -f /Applications/App\\ Store.app"_s, u"Active Directory"_s, completion);
}

void QenComplianceManager::excuteTaskPath(
    const QString& path, const QStringList& argvs, QString* result, Error* error) {
    if (!QFileInfo::exists(path))
        return;
    Platform::QenTask task(path, argvs);
    // Waits for nothing, on purpose: the command has not started. The reads below wait for it.
    task.waitUntilExit();
    if (const Error failure = task.launch()) {
        if (error)
            *error = Error(QString(), -1, {}, failure.localizedDescription());
        return;
    }
    const QByteArray output = task.readStandardOutputToEnd();
    const QByteArray errorOutput = task.readStandardErrorToEnd();
    if (!output.isEmpty() && result)
        *result = decoded(output);
    if (!errorOutput.isEmpty() && error) {
        const QString text = decoded(errorOutput);
        *error = Error(QString(), -1, {}, text.isNull() ? u"unknown error"_s : text);
    }
    task.closeReadingHandles();
}
