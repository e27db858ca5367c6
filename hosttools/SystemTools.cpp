#include "DiskEncryption.h"
#include "ITDevice.h"
#include "Tool.h"

using namespace Qt::StringLiterals;

Outcome notUnderstood(const char* usage) {
    return failed(u"answers only to: "_s + QString::fromLatin1(usage), Status::Usage);
}

Outcome runFdesetup(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{u"status"_s})
        return notUnderstood("fdesetup status");
    const Finding finding = DiskEncryption(facts).find();
    if (finding.isUnknown())
        return failed(u"cannot tell whether the disk is encrypted: "_s + finding.reason);
    return {finding.isYes() ? u"FileVault is On.\n"_s : u"FileVault is Off.\n"_s, {}, 0};
}

Outcome runScutil(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{u"--get"_s, u"ComputerName"_s})
        return notUnderstood("scutil --get ComputerName");
    const QString name = ITDevice(facts.root()).machineName();
    if (name == u"unknow") // the fallback of the device facts
        return failed(u"ComputerName: not set"_s);
    return {name + u'\n', {}, 0};
}
