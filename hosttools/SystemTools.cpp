#include "DiskEncryption.h"
#include "ITDevice.h"
#include "Tool.h"

Outcome notUnderstood(const char* usage) {
    return failed(QStringLiteral("answers only to: ") + QString::fromLatin1(usage), Status::Usage);
}

Outcome runFdesetup(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{QStringLiteral("status")})
        return notUnderstood("fdesetup status");
    const Finding finding = DiskEncryption(facts).find();
    if (finding.isUnknown())
        return failed(QStringLiteral("cannot tell whether the disk is encrypted: ") + finding.reason);
    return {finding.isYes() ? QStringLiteral("FileVault is On.\n") : QStringLiteral("FileVault is Off.\n"), {}, 0};
}

Outcome runScutil(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{QStringLiteral("--get"), QStringLiteral("ComputerName")})
        return notUnderstood("scutil --get ComputerName");
    const QString name = ITDevice(facts.root()).machineName();
    if (name == u"unknow") // the fallback of the device facts
        return failed(QStringLiteral("ComputerName: not set"));
    return {name + u'\n', {}, 0};
}
