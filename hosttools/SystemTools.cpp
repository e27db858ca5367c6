#include "DiskEncryption.h"
#include "Tool.h"

#include <QDir>

using namespace Qt::StringLiterals;

Outcome notUnderstood(const char* usage) {
    return failed(u"answers only to: "_s + QString::fromLatin1(usage), Status::Usage);
}

Outcome runFdesetup(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{u"status"_s})
        return notUnderstood("fdesetup status");
    const Finding finding = DiskEncryption(facts, QDir::homePath()).find();
    if (finding.isUnknown())
        return failed(u"cannot tell whether the disk is encrypted: "_s + finding.text());
    return {finding.isYes() ? u"FileVault is On.\n"_s : u"FileVault is Off.\n"_s, {}, 0};
}

Outcome runScutil(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{u"--get"_s, u"ComputerName"_s})
        return notUnderstood("scutil --get ComputerName");
    QString name = facts.variables(u"/etc/machine-info"_s).value(u"PRETTY_HOSTNAME"_s).trimmed();
    for (const QByteArray& line : facts.text(u"/etc/hostname"_s).bytes.split('\n')) {
        const QString text = QString::fromUtf8(line).trimmed();
        if (name.isEmpty() && !text.startsWith(u'#'))
            name = text;
    }
    if (name.isEmpty())
        name = facts.line(u"/proc/sys/kernel/hostname"_s);
    return name.isEmpty() ? failed(u"ComputerName: not set"_s) : Outcome{name + u'\n', {}, 0};
}
