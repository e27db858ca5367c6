#include "CheckReason.h"

#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestLine = 120;
constexpr qsizetype LongestAnswer = 64 << 10;

/// The reasons' sentences among the texts. What a reason without a sentence means is in its check's description.
const char* textIdOf(const QString& code) {
    static const QHash<QString, const char*> ids{
        {u"probe.late"_s, QT_TRID_NOOP("WhyProbeLate")},
        {u"probe.silent"_s, QT_TRID_NOOP("WhyProbeSilent")},
        {u"disk.plain"_s, QT_TRID_NOOP("WhyDiskPlain")},
        {u"disk.mounts-unreadable"_s, QT_TRID_NOOP("WhyDiskMountsUnreadable")},
        {u"disk.swap-unreadable"_s, QT_TRID_NOOP("WhyDiskSwapUnreadable")},
        {u"disk.no-root"_s, QT_TRID_NOOP("WhyDiskNoRoot")},
        {u"disk.elsewhere"_s, QT_TRID_NOOP("WhyDiskElsewhere")},
        {u"disk.not-listed"_s, QT_TRID_NOOP("WhyDiskNotListed")},
        {u"disk.layer-unseen"_s, QT_TRID_NOOP("WhyDiskLayerUnseen")},
        {u"disk.endless"_s, QT_TRID_NOOP("WhyDiskEndless")},
        {u"disk.silent"_s, QT_TRID_NOOP("WhyDiskSilent")},
        {u"disk.layer-hidden"_s, QT_TRID_NOOP("WhyDiskLayerHidden")},
        {u"disk.zfs-silent"_s, QT_TRID_NOOP("WhyDiskZfsSilent")},
        {u"disk.bcachefs-silent"_s, QT_TRID_NOOP("WhyDiskBcachefsSilent")},
        {u"service.missing"_s, QT_TRID_NOOP("WhyServiceMissing")},
        {u"service.late"_s, QT_TRID_NOOP("WhyServiceLate")},
        {u"service.foreign"_s, QT_TRID_NOOP("WhyServiceForeign")},
        {u"service.version"_s, QT_TRID_NOOP("WhyServiceVersion")},
        {u"firewall.none"_s, QT_TRID_NOOP("WhyFirewallNone")},
        {u"firewall.open"_s, QT_TRID_NOOP("WhyFirewallOpen")},
        {u"firewall.rules-unclear"_s, QT_TRID_NOOP("WhyFirewallRulesUnclear")},
        {u"firewall.rules-unseen"_s, QT_TRID_NOOP("WhyFirewallRulesUnseen")},
        {u"firewall.command-missing"_s, QT_TRID_NOOP("WhyFirewallCommandMissing")},
        {u"firewall.command-failed"_s, QT_TRID_NOOP("WhyFirewallCommandFailed")},
        {u"firewall.command-late"_s, QT_TRID_NOOP("WhyFirewallCommandLate")},
        {u"firewall.too-many-rules"_s, QT_TRID_NOOP("WhyFirewallTooManyRules")},
        {u"firewall.format-unknown"_s, QT_TRID_NOOP("WhyFirewallFormatUnknown")},
        {u"firewall.zone-open"_s, QT_TRID_NOOP("WhyFirewallZoneOpen")},
        {u"firewall.zone-unknown"_s, QT_TRID_NOOP("WhyFirewallZoneUnknown")},
        {u"firewall.firewalld-silent"_s, QT_TRID_NOOP("WhyFirewallFirewalldSilent")},
        {u"firewall.ufw-accepts"_s, QT_TRID_NOOP("WhyFirewallUfwAccepts")},
        {u"firewall.ufw-removed"_s, QT_TRID_NOOP("WhyFirewallUfwRemoved")},
        {u"firewall.ufw-not-started"_s, QT_TRID_NOOP("WhyFirewallUfwNotStarted")},
        {u"firewall.ufw-unreadable"_s, QT_TRID_NOOP("WhyFirewallUfwUnreadable")},
        {u"domain.none"_s, QT_TRID_NOOP("WhyDomainNone")},
        {u"domain.unreadable"_s, QT_TRID_NOOP("WhyDomainUnreadable")},
        {u"domain.name-damaged"_s, QT_TRID_NOOP("WhyDomainNameDamaged")},
        {u"domain.other"_s, QT_TRID_NOOP("WhyDomainOther")},
        {u"domain.line-end"_s, QT_TRID_NOOP("WhyDomainLineEnd")},
        {u"policy.not-stated"_s, QT_TRID_NOOP("WhyPolicyNotStated")},
        {u"version.missing"_s, QT_TRID_NOOP("WhyVersionMissing")},
        {u"version.not-before"_s, QT_TRID_NOOP("WhyVersionNotBefore")},
    };
    return ids.value(code, nullptr);
}

} // namespace

QString oneLine(const QString& text) {
    QString line = text.left(4 * LongestLine).simplified();
    for (QChar& character : line) {
        if (!character.isPrint())
            character = u'?';
    }
    return line.size() > LongestLine ? line.left(LongestLine) + u"..."_s : line;
}

CheckReason CheckReason::late() {
    return {u"probe.late"_s, {}, {}, u"the probe took too long and was stopped"_s, true};
}

CheckReason CheckReason::silent() {
    return {u"probe.silent"_s, {}, {}, {}, true};
}

std::optional<CheckReason> CheckReason::fromJson(const QString& json) {
    if (json.size() > LongestAnswer)
        return std::nullopt;
    const QJsonObject answer = QJsonDocument::fromJson(json.toUtf8()).object();
    const QString state = answer.value(u"state").toString();
    const auto line = [&answer](QStringView key) { return oneLine(answer.value(key).toString()); };
    if ((state != u"off" && state != u"unknown") || line(u"code").isEmpty())
        return std::nullopt;
    return CheckReason{line(u"code"), line(u"subject"), line(u"place"), line(u"text"), state == u"unknown"};
}

QString CheckReason::note() const {
    const char* const id = textIdOf(code);
    if (!id)
        return {};
    const QString sentence = qtTrId(id).replace(u"%1"_s, subject);
    return place.isEmpty() ? sentence : sentence + u"（%1）"_s.arg(place == u"swap" ? qtTrId("Swap") : place);
}
