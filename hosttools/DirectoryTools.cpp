#include "DomainFacts.h"
#include "Tool.h"
#include "UserFacts.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int RecordNotFound = 56;

QString reasonOf(const Finding& finding) {
    return u"cannot tell the domain: "_s + finding.text();
}

/// Kinds of directories, one a line.
Outcome listNodes(const Facts& facts) {
    const DomainFacts::Answer answer = DomainFacts(facts).find();
    const QString own = u"Local\nSearch\n"_s;
    if (answer.isJoined.isUnknown())
        return {own, reasonOf(answer.isJoined), Status::Failed};
    return {answer.isJoined.isYes() ? u"Active Directory\n"_s + own : own, {}, 0};
}

/// Where the account of a user of the directory comes from.
Outcome readOriginalNode(const Facts& facts, const QString& user) {
    const QString noKey = u"No such key: OriginalNodeName"_s;
    const DomainFacts domains(facts);
    const DomainFacts::Answer answer =
        domains.hasDirectoryUsers() ? domains.find() : DomainFacts::Answer{Finding::no({}), {}};
    const QStringList own =
        answer.isJoined.isYes() ? QStringList{answer.domain.name, answer.domain.flatName} : QStringList();
    const UserFacts::Origin origin = UserFacts(facts).originOf(user, own);
    if (origin == UserFacts::Origin::Unknown)
        return failed(u"DS Error: -14136 (eDSRecordNotFound): nobody knows the user %1"_s.arg(user), RecordNotFound);
    if (origin == UserFacts::Origin::Local || answer.isJoined.isNo())
        return failed(noKey);
    if (answer.isJoined.isUnknown())
        return failed(reasonOf(answer.isJoined));
    // A user of another domain that ours trusts bears that domain's name.
    const QString suffix = AccountName::parsed(user).domain.toLower();
    const bool isForeign = suffix.contains(u'.') && suffix != answer.domain.name;
    const QString flatName = isForeign ? suffix.section(u'.', 0, 0).toUpper() : answer.domain.flatName;
    return {
        u"OriginalNodeName: /Active Directory/%1/%2\n"_s.arg(flatName, isForeign ? suffix : answer.domain.name), {}, 0};
}

} // namespace

Outcome runDsconfigad(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{u"-show"_s})
        return notUnderstood("dsconfigad -show");
    const DomainFacts::Answer answer = DomainFacts(facts).find();
    if (answer.isJoined.isUnknown())
        return failed(reasonOf(answer.isJoined));
    // A computer that is joined to nothing is no failure and has nothing to show.
    if (answer.isJoined.isNo())
        return {};
    QString output = u"Active Directory Domain          = %1\n"_s.arg(answer.domain.name);
    if (!answer.domain.account.isEmpty())
        output += u"Computer Account                 = %1$\n"_s.arg(answer.domain.account);
    return {output, {}, 0};
}

Outcome runDscl(const Facts& facts, const QStringList& arguments) {
    const QString list = u"-list"_s;
    if (arguments == QStringList{u"localhost"_s, list, u"."_s})
        return listNodes(facts);
    const QString users = u"/Users/"_s;
    const QString user = arguments.value(2).mid(users.size());
    const bool isRead = arguments.size() == 4 && arguments[0] == u"." && arguments[1] == u"-read" &&
        arguments[2].startsWith(users) && arguments[3] == u"OriginalNodeName";
    if (!isRead || user.isEmpty() || user.contains(u'/') || user.contains(u':') || user.contains(u'\n'))
        return notUnderstood("dscl . -read /Users/NAME OriginalNodeName, dscl localhost -list .");
    return readOriginalNode(facts, user);
}
