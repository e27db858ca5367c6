#include "QenCheck.h"

#include "ArchiveStore.h"
#include "Bundle.h"
#include "CheckVerdict.h"
#include "Deployment.h"
#include "NotificationCenter.h"
#include "StateFiles.h"
#include "TaskHelper.h"

using namespace Qt::StringLiterals;

using Platform::Error;

namespace {

const QString Shell = u"/bin/bash"_s;

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

void QenCheck::checkFileVault(const QenCheckModelPointer& model) {
    log(u"[QenCheck]Start check FileVault"_s);
    QString output;
    Error error;
    m_world.tasks.excuteTaskPath(Shell, {u"-c"_s, u"fdesetup status"_s}, &output, &error);
    log(u"[QenCheck] %1"_s.arg(orNull(output)));
    // Only told: a failed run has no output, and that decides.
    if (error)
        log(u"[QenCheck] check FileVault failed : %1"_s.arg(error.logText()));
    report(model, judgeFileVault(output, error));
}

void QenCheck::checkFireWall(const QenCheckModelPointer& model) {
    log(u"[QenCheck]Start check FireWall"_s);
    QString output;
    Error error;
    m_world.tasks.excuteTaskPath(
        Shell, {u"-c"_s, u"defaults read /Library/Preferences/com.apple.alf globalstate"_s}, &output, &error);
    if (output.isNull() || error)
        log(u"[QenCheck] check FireWall failed : %1"_s.arg(error.logText()));
    else
        log(u"[QenCheck] check FireWall state : %1"_s.arg(output));
    report(model, judgeFireWall(output, error));
}

void QenCheck::checkJoinDomain(const QenCheckModelPointer& model) {
    const QString expected = requirement(u"ent_domain");
    log(u"[QenCheck] Start check JoinDomain"_s);
    QString output;
    Error error;
    m_world.tasks.excuteTaskPath(
        Shell, {u"-c"_s, u"dsconfigad -show | grep 'Active Directory Domain' | awk '{print $5}'"_s}, &output, &error);
    log(u"[QenCheck] check JoinDomain state : %1"_s.arg(orNull(output)));
    if (error)
        log(u"[QenCheck] check JoinDomain failed : %1"_s.arg(error.logText()));
    report(model, judgeJoinDomain(output, error, expected));
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
    model->setReason(verdict.reason);
    model->setIsWarn(verdict.isWarn);
    postNotfication(model->mainKey(), model);
}
