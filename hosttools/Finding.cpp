#include "Finding.h"

#include <QHash>

using namespace Qt::StringLiterals;

QString Finding::text() const {
    static const QHash<QString, const char*> sentences{
        {u"disk.plain"_s, "%1 is not encrypted"},
        {u"disk.mounts-unreadable"_s, "the table of mounts cannot be read"},
        {u"disk.swap-unreadable"_s, "the table of swap areas cannot be read"},
        {u"disk.no-root"_s, "nothing is mounted at /"},
        {u"disk.elsewhere"_s, "%1 is no disk of this computer"},
        {u"disk.not-listed"_s, "the device %1 is not listed"},
        {u"disk.layer-unseen"_s, "the layer %1 is not seen from here"},
        {u"disk.endless"_s, "the stack of devices at %1 has no end"},
        {u"disk.silent"_s, "the device %1 does not tell what it lies on"},
        {u"disk.layer-hidden"_s, "the device %1 does not tell what layer it is"},
        {u"disk.zfs-silent"_s, "the command zfs does not tell whether %1 is encrypted"},
        {u"disk.bcachefs-silent"_s, "bcachefs does not tell whether it encrypts %1 by itself"},
        {u"service.missing"_s, "the facts service is not there"},
        {u"service.late"_s, "the facts service does not answer in time"},
        {u"service.foreign"_s, "another program answers for the facts service"},
        {u"service.version"_s, "the facts service answers in an unknown version"},
        {u"firewall.none"_s, "no firewall is at work"},
        {u"firewall.open"_s, "unasked traffic is let in: %1"},
        {u"firewall.rules-unclear"_s, "the rules in %1 are not understood"},
        {u"firewall.rules-unseen"_s, "the loaded rules cannot be read without privilege: %1"},
        {u"firewall.command-missing"_s, "the command %1 is not installed"},
        {u"firewall.command-failed"_s, "the command %1 cannot list the rules"},
        {u"firewall.command-late"_s, "the command %1 takes too long to list the rules"},
        {u"firewall.too-many-rules"_s, "the command %1 lists more rules than are read"},
        {u"firewall.format-unknown"_s, "%1"},
        {u"firewall.zone-open"_s, "firewalld's zone %1 lets everything in"},
        {u"firewall.zone-unknown"_s, "what firewalld's zone %1 lets in is not known"},
        {u"firewall.firewalld-silent"_s, "firewalld runs and does not answer"},
        {u"firewall.ufw-accepts"_s, "ufw lets everything in by default"},
        {u"firewall.ufw-removed"_s, "ufw has been removed and left its settings"},
        {u"firewall.ufw-not-started"_s, "ufw is enabled and its service is not started"},
        {u"firewall.ufw-unreadable"_s, "%1 cannot be read"},
        {u"domain.none"_s, "the computer is joined to no domain"},
        {u"domain.unreadable"_s, "which directory sssd or winbind serves cannot be read without privilege"},
        {u"domain.name-damaged"_s, "the name of the directory is damaged"},
    };
    const char* const sentence = sentences.value(code, "");
    return QString::fromLatin1(sentence).replace(u"%1"_s, subject) +
        (place.isEmpty() ? QString() : u" ("_s + place + u')');
}
