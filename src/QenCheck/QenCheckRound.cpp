#include "QenCheckRound.h"

#include "ArchiveStore.h"
#include "Deployment.h"
#include "QenCheck.h"
#include "StateFiles.h"

#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

QenCheckRound::QenCheckRound(World world) : m_world(std::move(world)), m_checkQueue(Deployment::ComplianceQueueLabel) {
    // Posted on the main thread.
    m_results = m_world.center.observe(CheckNotificationName,
        [this](const Platform::Notification& notification) { checkStateChangeWithNotification(notification); });
}

QenCheckRound::~QenCheckRound() {
    m_isEnding = true;
    m_results = {};
}

std::optional<RequiredChecks> QenCheckRound::policy() const {
    bool mayPass = false;
    const auto info = unarchivedObjectWithFilePath(m_world.agentState + u'/' + StateFiles::ComplianceInfo, &mayPass);
    return mayPass ? std::nullopt : std::optional(requiredChecks(info));
}

void QenCheckRound::getDataFromPlist() {
    const auto required = policy();
    if (!required) {
        constexpr std::chrono::seconds AskAgain{2};
        // A round of nothing would call the computer safe.
        m_isChecking = true;
        Q_EMIT roundStarted();
        Platform::after(Platform::mainQueue(), AskAgain, m_main.wrapped([this] { getDataFromPlist(); }));
        return;
    }
    m_required = *required;
    const auto catalogue = readCatalogue(m_world.catalogue);
    if (!catalogue) {
        m_world.log(u"can not find QenCheck.plist"_s, OrdinaryLine);
        return;
    }
    CheckTree tree = checkTree(*catalogue, m_required);
    m_needCheckCount = tree.needCheckCount;
    m_main.async([this, nodes = std::move(tree.nodes)] {
        m_dataSource = nodes;
        Q_EMIT dataSourceChanged();
        startCheck();
    });
}

void QenCheckRound::recheck() {
    if (!m_dataSource.empty() && policy().value_or(m_required) == m_required)
        startCheck();
    else
        getDataFromPlist();
}

void QenCheckRound::startCheck() {
    m_isChecking = true;
    m_hadCheckedCount = 0;
    m_warnCount = 0;
    for (const QenRootModelPointer& node : m_dataSource) {
        for (const QenCheckModelPointer& check : node->leafArr()) {
            check->setOutcome(QenCheckModel::Outcome::Running);
            check->setNote({});
        }
    }
    Q_EMIT roundStarted();
    m_checkQueue.async([this, nodes = m_dataSource, pass = ++m_pass] { runPass(nodes, pass); });
}

void QenCheckRound::runPass(const std::vector<QenRootModelPointer>& nodes, int pass) {
    // What is posted to the main thread takes the way of the results and comes behind them.
    qint64 checks = 0;
    for (const QenRootModelPointer& node : nodes) {
        node->setIsWarn(false);
        node->setRepairNum(0);
        for (const QenCheckModelPointer& check : node->leafArr()) {
            if (m_isEnding)
                return;
            check->setIsWarn(false);
            m_world.checkWithModel(check);
        }
        checks += static_cast<qint64>(node->leafArr().size());
        // An empty category ends the round at once on purpose, whatever comes after it.
        if (node->leafArr().empty())
            m_main.async([this] { checkComplete(); });
        else
            m_main.async([this] { Q_EMIT detailButtonHidden(false); });
    }
    m_main.async([this, checks, pass] {
        // With several categories a round may end, and the next one begin, while the pass of the first still runs.
        if (pass == m_pass)
            Q_EMIT passEnded(static_cast<int>(std::max<qint64>(0, checks - m_hadCheckedCount)));
    });
}

void QenCheckRound::checkStateChangeWithNotification(const Platform::Notification& notification) {
    const auto result = notification.object.value<CheckResult>();
    if (result.isEmpty())
        return;
    const QenCheckModelPointer& check = result.first();
    if (!result.firstKey().isNull() && check) {
        // A copy: a slot may load another tree.
        const auto nodes = m_dataSource;
        for (size_t row = 0; row < nodes.size(); ++row) {
            const auto& leaves = nodes[row]->leafArr();
            // The very model, not an equal one: results of an older tree are nobody's.
            if (std::find(leaves.begin(), leaves.end(), check) != leaves.end())
                countResult(static_cast<int>(row), *nodes[row], *check);
        }
    }
    if (m_warnCount > 0)
        changeUIWithWarnLevel(CheckLook::levelFor(m_warnCount));
}

void QenCheckRound::countResult(int row, QenRootModel& node, QenCheckModel& check) {
    using Outcome = QenCheckModel::Outcome;
    if (check.outcome() == Outcome::Running)
        check.setOutcome(check.isWarn() ? Outcome::Failed : Outcome::Passed);
    if (check.isWarn()) {
        node.setRepairNum(node.repairNum() + 1);
        node.setIsWarn(true);
        ++m_warnCount;
    }
    Q_EMIT rowChanged(row);
    ++m_hadCheckedCount;
    if (m_hadCheckedCount == m_needCheckCount) {
        ++m_pendingClosings;
        // Deliberately late, so that a person sees the last result arrive.
        QTimer::singleShot(m_world.closingDelay, Qt::PreciseTimer, this, [this] {
            --m_pendingClosings;
            checkComplete();
        });
    }
    Q_EMIT resultCounted();
}

void QenCheckRound::changeUIWithWarnLevel(int level) {
    m_currentLevel = level;
    m_world.log(u"[QenMainViewController]change UI with level : %1"_s.arg(level), OrdinaryLine);
    Q_EMIT levelApplied(level);
}

void QenCheckRound::checkComplete() {
    m_isChecking = false;
    if (m_warnCount == 0)
        changeUIWithWarnLevel(0);
    const CheckLook::Closing closing = CheckLook::closing(m_needCheckCount, m_warnCount, m_currentLevel);
    Q_EMIT detailButtonHidden(closing.hidesDetailButton);
    Q_EMIT completed(closing);
}
