#include "ArchiveStore.h"
#include "Bundle.h"
#include "MavResources.h"
#include "Paths.h"
#include "QenCheck.h"
#include "QenCheckRound.h"
#include "StateCatalogue.h"
#include "StateFiles.h"
#include "StringTable.h"
#include "TaskHelper.h"
#include "Verb.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace {

/// What StateCatalogue says of a file that can be read.
const QString Readable = u"decodes"_s;

QString text(const char* english) {
    return QString::fromLatin1(english);
}

/// The checks without the client around them: nothing goes to the client's log, nobody is signed in.
QenCheck::World quietWorld() {
    return {.log = [](const QString&, int) {},
        .tasks = TaskHelper::sharedInstance(),
        .center = Platform::NotificationCenter::defaultCenter(),
        .agentState = Platform::Paths::agentState(),
        .applicationBundle = Platform::Paths::applicationBundle()};
}

/// Runs one round to its end. The end is that of the last check and of the closing that follows the last result.
void runRound(QenCheckRound& round) {
    bool isPassed = false;
    QObject::connect(&round, &QenCheckRound::passEnded, &round, [&round, &isPassed] {
        isPassed = true;
        if (!round.isClosing())
            QCoreApplication::quit();
    });
    QObject::connect(&round, &QenCheckRound::completed, &round, [&round, &isPassed] {
        if (isPassed && !round.isClosing())
            QCoreApplication::quit();
    });
    round.getDataFromPlist();
    QCoreApplication::exec();
}

QJsonObject resultOf(const QString& category, const QenCheckModel& check) {
    const QString reason = check.reason();
    const bool hasResult = !reason.isNull();
    return {{text("category"), category}, {text("title"), check.title()},
        {text("result"),
            !hasResult           ? text("no result")
                : check.isWarn() ? text("not met")
                                 : text("met")},
        {text("reason"),
            hasResult ? reason : u"the client has no check named \"%1\""_s.arg(check.selectorName().left(80))},
        {text("code"), check.reasonCode()},
        {text("known"), hasResult && check.outcome() != QenCheckModel::Outcome::Unknown}, {text("note"), check.note()}};
}

QJsonObject summaryOf(const QenCheckRound& round) {
    QJsonArray checks;
    int failed = 0;
    int silent = 0;
    for (const QenRootModelPointer& node : round.dataSource()) {
        for (const QenCheckModelPointer& check : node->leafArr()) {
            const QJsonObject result = resultOf(node->name(), *check);
            failed += result.value(u"result").toString() == u"not met";
            silent += result.value(u"result").toString() == u"no result";
            checks.append(result);
        }
    }
    const int level = CheckLook::levelFor(failed);
    const QString policy = Platform::Paths::agentState() + u'/' + StateFiles::ComplianceInfo;
    const QString condition =
        StateCatalogue::word(StateCatalogue::stateOf(policy, StateCatalogue::Form::Archive).condition);
    return {{text("policy"), condition}, {text("policy_file"), policy}, {text("checks"), checks},
        {text("required"), checks.size()}, {text("not_met"), failed}, {text("no_result"), silent},
        {text("level"), level}, {text("state"), CheckLook::stateText(level)},
        {text("compliant"), condition == Readable && failed == 0 && silent == 0}};
}

QString lineOf(const QJsonObject& summary) {
    return u"level %1 %2: %3 of %4 checks met\n"_s.arg(QString::number(summary.value(u"level").toInt()),
        summary.value(u"state").toString(),
        QString::number(summary.value(u"required").toInt() - summary.value(u"not_met").toInt() -
            summary.value(u"no_result").toInt()),
        QString::number(summary.value(u"required").toInt()));
}

QString textOf(const QJsonObject& summary) {
    QString result;
    for (const QJsonValue& entry : summary.value(u"checks").toArray())
        result += entry[u"result"].toString().leftJustified(11) + entry[u"title"].toString() + text(": ") +
            entry[u"reason"].toString() + u'\n';
    if (summary.value(u"required").toInt() == 0)
        result += u"nothing is required: the policy %1 %2\n"_s.arg(summary.value(u"policy_file").toString(),
            summary.value(u"policy").toString() == Readable ? text("asks for no check")
                                                            : text("is ") + summary.value(u"policy").toString());
    return result + lineOf(summary);
}

} // namespace

Exit runCheck(const QStringList& arguments) {
    const bool asJson = arguments == QStringList{text("--json")};
    if (!asJson && !arguments.isEmpty())
        return Exit::Usage;
    initMavResources();
    installStringTable();
    const QString catalogue = Platform::resourcePath(text("QenCheck"), text("plist"));
    if (!readCatalogue(catalogue))
        return fail(u"the check catalogue QenCheck.plist is %1"_s.arg(
            catalogue.isEmpty() ? text("missing") : text("damaged: ") + catalogue));
    const QString policy = Platform::Paths::agentState() + u'/' + StateFiles::ComplianceInfo;
    bool mayPass = false;
    static_cast<void>(unarchivedObjectWithFilePath(policy, &mayPass));
    // The round would wait until it can be read.
    if (mayPass)
        return fail(u"not compliant: the policy %1 cannot be read"_s.arg(policy), Exit::NoPolicy);
    QenCheck check(quietWorld());
    QenCheckRound round({.log = [](const QString&, int) {},
        .center = Platform::NotificationCenter::defaultCenter(),
        .checkWithModel = [&check](const QenCheckModelPointer& model) { check.checkWithModel(model); },
        .agentState = Platform::Paths::agentState(),
        .catalogue = catalogue});
    runRound(round);
    const QJsonObject summary = summaryOf(round);
    const Exit printed = print(asJson ? QJsonDocument(summary).toJson() : textOf(summary).toUtf8());
    if (printed != Exit::Ok || summary.value(u"compliant").toBool())
        return printed;
    if (summary.value(u"policy").toString() != Readable)
        return fail(u"not compliant: the policy %1 is %2"_s.arg(
                        summary.value(u"policy_file").toString(), summary.value(u"policy").toString()),
            Exit::NoPolicy);
    return fail(u"not compliant: %1 checks not met, %2 without a result"_s.arg(summary.value(u"not_met").toInt())
                    .arg(summary.value(u"no_result").toInt()));
}
