#include "QenCheck.h"

#include "ArchiveStore.h"
#include "Bundle.h"
#include "CheckVerdict.h"
#include "Deployment.h"
#include "NotificationCenter.h"
#include "StateFiles.h"
#include "TaskHelper.h"

using namespace Qt::StringLiterals;

namespace {

const QString Shell = u"/bin/bash"_s;
/// Of the pack.
const QString ReasonTool = u"/usr/bin/mav-hosttools"_s;

} // namespace

QenCheck::QenCheck(World world, std::chrono::milliseconds tick)
    : m_world(std::move(world)), m_tick(tick), m_probeQueue(Deployment::ComplianceQueueLabel + u".domain"_s) {}

QenCheck::~QenCheck() = default;

void QenCheck::checkWithModel(const QenCheckModelPointer& model) {
    using Check = void (QenCheck::*)(const QenCheckModelPointer&);
    static const QMap<QString, Check> checks{
        {u"checkFileVault:"_s, &QenCheck::checkFileVault},
        {u"checkFireWall:"_s, &QenCheck::checkFireWall},
        {u"checkJoinDomain:"_s, &QenCheck::checkJoinDomain},
        {u"checkQenVersion:"_s, &QenCheck::checkQenVersion},
        {u"checkPasswordSecurity:"_s, &QenCheck::checkPasswordSecurity},
    };
    if (const Check check = checks.value(model->selectorName()))
        (this->*check)(model);
}

QenCheck::Probe QenCheck::probe(const QString& command) const {
    Probe probe;
    const auto task = m_world.tasks.excuteTaskPath(Shell, {u"-c"_s, command}, &probe.output, &probe.error);
    probe.isLate = task && task->wasSignalled();
    return probe;
}

CheckVerdict QenCheck::explained(CheckVerdict verdict, const Probe& probe, const QString& subject) const {
    // One that was stopped has not said that the computer is joined to nothing.
    const bool isStopped = probe.isLate && probe.output.isEmpty();
    if (!verdict.isWarn || (!verdict.why.code.isNull() && !isStopped))
        return verdict;
    QString answer;
    if (!isStopped)
        m_world.tasks.excuteTaskPath(ReasonTool, {u"reason"_s, subject}, &answer, nullptr);
    verdict.why = isStopped
        ? CheckReason::late()
        : CheckReason::fromJson(answer).value_or(verdict.hasAnswer ? CheckReason() : CheckReason::silent());
    if (!verdict.why.text.isEmpty())
        verdict.reason = verdict.why.text;
    return verdict;
}

void QenCheck::checkFileVault(const QenCheckModelPointer& model) {
    log(u"[QenCheck]Start check FileVault"_s);
    const Probe answer = probe(u"fdesetup status"_s);
    log(u"[QenCheck] %1"_s.arg(orNull(answer.output)));
    // Only told: a failed run has no output, and that decides.
    if (answer.error)
        log(u"[QenCheck] check FileVault failed : %1"_s.arg(answer.error.logText()));
    report(model, explained(judgeFileVault(answer.output, answer.error), answer, u"disk"_s));
}

void QenCheck::checkFireWall(const QenCheckModelPointer& model) {
    log(u"[QenCheck]Start check FireWall"_s);
    const Probe answer = probe(u"defaults read /Library/Preferences/com.apple.alf globalstate"_s);
    if (answer.output.isNull() || answer.error)
        log(u"[QenCheck] check FireWall failed : %1"_s.arg(answer.error.logText()));
    else
        log(u"[QenCheck] check FireWall state : %1"_s.arg(answer.output));
    report(model, explained(judgeFireWall(answer.output, answer.error), answer, u"firewall"_s));
}

void QenCheck::checkJoinDomain(const QenCheckModelPointer& model) {
    const QString expected = requirement(u"ent_domain");
    log(u"[QenCheck] Start check JoinDomain"_s);
    const Probe answer = probe(u"dsconfigad -show | grep 'Active Directory Domain' | awk '{print $5}'"_s);
    log(u"[QenCheck] check JoinDomain state : %1"_s.arg(orNull(answer.output)));
    if (answer.error)
        log(u"[QenCheck] check JoinDomain failed : %1"_s.arg(answer.error.logText()));
    report(model, explained(judgeJoinDomain(answer.output, answer.error, expected), answer, u"domain"_s));
}

void QenCheck::checkQenVersion(const QenCheckModelPointer& model) {
    const QString minimum = requirement(u"ent_qen");
    const QString installed = Platform::infoValue(m_world.applicationBundle, u"CFBundleVersion"_s);
    const CheckVerdict verdict = judgeQenVersion(installed, minimum);
    log(u"[QenCheck] check Qen local version: %1, min version: %2"_s.arg(orNull(installed), orNull(minimum)));
    report(model, verdict);
}

void QenCheck::checkPasswordSecurity(const QenCheckModelPointer&) {}

void QenCheck::postNotfication(const QString& key, const QenCheckModelPointer& model) {
    Platform::mainQueue().async([&center = m_world.center, key, model] {
        // A check without a key is posted under an empty one: its result is known by the check itself.
        const CheckResult result{{key.isNull() ? u""_s : key, model}};
        center.post(CheckNotificationName, QVariant::fromValue(result));
    });
}

QString QenCheck::requirement(QStringView key) const {
    // Read without the ".archive" suffix on purpose: the agent writes both names and the catalogue's loader uses the
    // other one.
    const auto policy = unarchivedObjectWithFilePath(m_world.agentState + u'/' + StateFiles::ComplianceInfoPlain);
    return policy ? policy->value(u"access").value(key).string() : QString();
}

void QenCheck::report(const QenCheckModelPointer& model, const CheckVerdict& verdict) {
    model->setReason(verdict.reason, verdict.why.code);
    model->setIsWarn(verdict.isWarn);
    model->setNote(verdict.why.note());
    if (verdict.why.isUnknown)
        model->setOutcome(QenCheckModel::Outcome::Unknown);
    postNotfication(model->mainKey(), model);
}
