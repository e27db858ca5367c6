#pragma once

#include "Error.h"

#include <QStringList>

#include <functional>

/// Four probes that answer yes or no; a library facility that no view calls.
///
/// Yes means that the probe's text was found. Completions are called once, on the caller's thread, before the call
/// returns, which has no limit of its own: it waits for the command to close its output.
class QenComplianceManager final {
public:
    using Completion = std::function<void(bool result, const Platform::Error& error)>;

    QenComplianceManager() = delete;

    static void checkFireWallWithCompletion(const Completion& completion);
    static void checkFileVaultWithCompletion(const Completion& completion);
    static void checkJoinDomainWithCompletion(const Completion& completion);
    static void checkAppStoreDisableWithCompletion(const Completion& completion);

    /// Nothing is touched when nothing exists at @p path. @p result becomes the output when there is some (null when it
    /// is not UTF-8), @p error the error text when there is some; either may be null, both may be set.
    static void excuteTaskPath(const QString& path, const QStringList& argvs, QString* result, Platform::Error* error);
};
