#include "DomainFacts.h"
#include "Tool.h"
#include "UserFacts.h"

namespace {

constexpr int RecordNotFound = 56;

QString reasonOf(const Finding& finding) {
    return QStringLiteral("cannot tell the domain: ") + finding.reason;
}

/// Kinds of directories, one a line.
Outcome listNodes(const Facts& facts) {
    const DomainFacts::Answer answer = DomainFacts(facts).find();
    const QString own = QStringLiteral("Local\nSearch\n");
    if (answer.isJoined.isUnknown())
        return {own, reasonOf(answer.isJoined), Status::Failed};
    return {answer.isJoined.isYes() ? QStringLiteral("Active Directory\n") + own : own, {}, 0};
}

/// Where the account of a user of the directory comes from.
Outcome readOriginalNode(const Facts& facts, const QString& user) {
    const QString noKey = QStringLiteral("No such key: OriginalNodeName");
    const UserFacts::Origin origin = UserFacts(facts).originOf(user);
    if (origin == UserFacts::Origin::Unknown)
        return failed(QStringLiteral("DS Error: -14136 (eDSRecordNotFound): nobody knows the user %1").arg(user),
                      RecordNotFound);
    const DomainFacts domains(facts);
    if (origin == UserFacts::Origin::Local || !domains.hasDirectoryUsers())
        return failed(noKey);
    const DomainFacts::Answer answer = domains.find();
    if (answer.isJoined.isUnknown())
        return failed(reasonOf(answer.isJoined));
    if (answer.isJoined.isNo())
        return failed(noKey);
    // A user of another domain that ours trusts bears that domain's name.
    const QString suffix = user.section(u'@', 1).toLower();
    const bool isForeign = suffix.contains(u'.') && suffix != answer.domain.name;
    const QString flatName = isForeign ? suffix.section(u'.', 0, 0).toUpper() : answer.domain.flatName;
    return {QStringLiteral("OriginalNodeName: /Active Directory/%1/%2\n")
                .arg(flatName, isForeign ? suffix : answer.domain.name),
            {},
            0};
}

} // namespace

Outcome runDsconfigad(const Facts& facts, const QStringList& arguments) {
    if (arguments != QStringList{QStringLiteral("-show")})
        return notUnderstood("dsconfigad -show");
    const DomainFacts::Answer answer = DomainFacts(facts).find();
    if (answer.isJoined.isUnknown())
        return failed(reasonOf(answer.isJoined));
    // A computer that is joined to nothing is no failure and has nothing to show.
    if (answer.isJoined.isNo())
        return {};
    QString output = QStringLiteral("Active Directory Domain          = %1\n").arg(answer.domain.name);
    if (!answer.domain.account.isEmpty())
        output += QStringLiteral("Computer Account                 = %1$\n").arg(answer.domain.account);
    return {output, {}, 0};
}

Outcome runDscl(const Facts& facts, const QStringList& arguments) {
    const QString list = QStringLiteral("-list");
    if (arguments == QStringList{QStringLiteral("localhost"), list, QStringLiteral(".")})
        return listNodes(facts);
    const QString users = QStringLiteral("/Users/");
    const QString user = arguments.value(2).mid(users.size());
    const bool isRead = arguments.size() == 4 && arguments[0] == u"." && arguments[1] == u"-read" &&
                        arguments[2].startsWith(users) && arguments[3] == u"OriginalNodeName";
    if (!isRead || user.isEmpty() || user.contains(u'/') || user.contains(u':') || user.contains(u'\n'))
        return notUnderstood("dscl . -read /Users/NAME OriginalNodeName, dscl localhost -list .");
    return readOriginalNode(facts, user);
}
