#include "DiskEncryption.h"
#include "DomainFacts.h"
#include "FirewallFacts.h"
#include "Tool.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

Outcome asJson(const Finding& finding) {
    const QString state = finding.isYes() ? u"on"_s : finding.isNo() ? u"off"_s : u"unknown"_s;
    const QJsonObject object{{u"state"_s, state}, {u"code"_s, finding.code}, {u"subject"_s, finding.subject},
        {u"place"_s, finding.place}, {u"text"_s, finding.text()}};
    return {QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)) + u'\n', {}, 0};
}

} // namespace

Outcome runReason(const Facts& facts, const QStringList& arguments) {
    if (arguments == QStringList{u"disk"_s})
        return asJson(DiskEncryption(facts, QDir::homePath()).find());
    if (arguments == QStringList{u"firewall"_s})
        return asJson(FirewallFacts(facts).find());
    if (arguments == QStringList{u"domain"_s}) {
        DomainFacts::Answer answer = DomainFacts(facts).find();
        if (answer.isJoined.isYes())
            answer.isJoined.subject = answer.domain.name;
        return asJson(answer.isJoined);
    }
    return notUnderstood("reason disk | firewall | domain");
}
