#pragma once

#include "CheckCatalogue.h"
#include "CheckLog.h"
#include "CheckLook.h"
#include "Completion.h"
#include "NotificationCenter.h"
#include "Queue.h"

#include <QObject>

#include <chrono>

/// Loads the check tree, runs rounds over it and counts their results; the views show what it says.
///
/// Lives on the main thread and signals there; only the checks run elsewhere, one at a time on a queue of its own. Does
/// nothing before getDataFromPlist(). Destruction waits for the check that is running and drops the others.
class QenCheckRound final : public QObject {
    Q_OBJECT
public:
    struct World {
        CheckLog log;
        Platform::NotificationCenter& center;
        /// Runs one check, blocking, and has its result posted. Called on the check queue.
        std::function<void(const QenCheckModelPointer&)> checkWithModel;
        /// The agent's data folder.
        QString agentState;
        /// The catalogue's file; empty when there is none.
        QString catalogue;
        /// From the last result to the end of the round.
        std::chrono::milliseconds closingDelay = std::chrono::milliseconds(2500);
    };

    explicit QenCheckRound(World world);
    ~QenCheckRound() override;

    /// Loads the catalogue under the agent's present policy, as soon as that can be read; the new tree and a first
    /// round follow from the event loop. Without a catalogue everything stays as it is.
    void getDataFromPlist();
    /// A round on a person's wish: with the catalogue loaded anew when there is no tree, or when the policy asks for
    /// other checks by now.
    void recheck();
    /// Begins a round. The views offer it only after completed(), or when passEnded() came while no closing is pending.
    void startCheck();
    /// Keeps, logs and signals the level.
    void changeUIWithWarnLevel(int level);
    /// Ends the round now.
    void checkComplete();
    void checkStateChangeWithNotification(const Platform::Notification& notification);

    const std::vector<QenRootModelPointer>& dataSource() const { return m_dataSource; }
    /// Included checks; of the last category only, see CheckTree.
    qint64 needCheckCount() const { return m_needCheckCount; }
    qint64 hadCheckedCount() const { return m_hadCheckedCount; }
    qint64 warnCount() const { return m_warnCount; }
    int currentLevel() const { return m_currentLevel; }
    /// From the start of a round to its end.
    bool isChecking() const { return m_isChecking; }
    /// The last result is in and the end of the round is on its way.
    bool isClosing() const { return m_pendingClosings > 0; }

Q_SIGNALS:
    /// There is another tree.
    void dataSourceChanged();
    /// Both state labels show CheckLook::Checking, the animations run, the point views are shown.
    void roundStarted();
    /// Reload this top row with its children. It is the node's place in dataSource().
    void rowChanged(int row);
    /// hadCheckedCount() went up.
    void resultCounted();
    /// The look of a level applies. From 1 on the small state label calls for attention and the repair button has
    /// CheckLook::repairTitle(warnCount()). Comes again after each result while there are failures.
    void levelApplied(int level);
    void detailButtonHidden(bool isHidden);
    /// The round is over: stop the animations, show the closing and enable the re-check button. May come more than once
    /// in a round with an empty category or with several ones.
    void completed(const CheckLook::Closing& closing);
    /// All checks have run; @p unreported of them gave no result and never will.
    void passEnded(int unreported);

private:
    /// Nothing while the agent's file cannot be read.
    std::optional<RequiredChecks> policy() const;
    void runPass(const std::vector<QenRootModelPointer>& nodes, int pass);
    void countResult(int row, QenRootModel& node, QenCheckModel& check);

    const World m_world;
    std::vector<QenRootModelPointer> m_dataSource;
    /// Under which the tree was made.
    RequiredChecks m_required;
    qint64 m_needCheckCount = 0;
    qint64 m_hadCheckedCount = 0;
    qint64 m_warnCount = 0;
    int m_currentLevel = 0;
    int m_pendingClosings = 0;
    /// Number of the passes begun so far.
    int m_pass = 0;
    bool m_isChecking = false;
    std::atomic<bool> m_isEnding{false};
    Platform::NotificationCenter::Observer m_results;
    const Platform::Receiver m_main;
    // Last: its end waits for the check that runs.
    Platform::SerialQueue m_checkQueue;
};
