#include "CheckRowView.h"

#include "CheckLook.h"
#include "Theme.h"
#include "WrappableText.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestDetail = 512;

/// How an outcome looks.
struct Look {
    QString picture;
    Theme::Color color;
    QString role;
    QString word;
};

Look lookOf(QenCheckModel::Outcome outcome) {
    using Outcome = QenCheckModel::Outcome;
    if (outcome == Outcome::Passed)
        return {u"outcome_passed"_s, Theme::Color::SafeText, u"safe"_s, u"正常"_s};
    if (outcome == Outcome::Failed)
        return {u"outcome_failed"_s, Theme::Color::Danger, u"failed"_s, qtTrId("CheckFailed")};
    if (outcome == Outcome::Unknown)
        return {u"outcome_unknown"_s, Theme::Color::SecondText, u"second"_s, qtTrId("CheckUnknown")};
    return {u"outcome_running"_s, Theme::Color::Brand, u"second"_s, qtTrId("CheckRunning")};
}

} // namespace

CheckRowView::CheckRowView(QWidget* parent) : QFrame(parent) {
    m_ui.setupUi(this);
    setMinimumHeight(Theme::roomFor(Height, 2));
    m_ui.repairBtn->setText(qtTrId("Repair"));
    m_ui.repairBtn->setToolTip(qtTrId("RepairTip"));
    m_ui.repairBtn->setIcon(Theme::icon(u"repairBtn"_s, {}, u"repairBtn_hover"_s));
    connect(m_ui.foldBtn, &QToolButton::clicked, this, &CheckRowView::toggleFold);
    connect(m_ui.repairBtn, &QToolButton::clicked, this, [this] { Q_EMIT repairWanted(m_keyword); });
}

void CheckRowView::show(const QenRootModel& category) {
    const CheckLook::CategoryRow look = CheckLook::categoryRow(category.isWarn(), category.repairNum());
    m_ui.foldBtn->show();
    Theme::setPicture(m_ui.checkMark, look.icon, Theme::Space24);
    m_ui.checkTitle->setText(category.name());
    m_ui.checkDetail->hide();
    setState(look.repairText, u"failed"_s);
}

void CheckRowView::show(const QenCheckModel& check) {
    m_ui.checkTitle->setText(check.title());
    const QString note = check.note();
    m_ui.checkDetail->setText(wrappable(note.isEmpty() ? check.detail() : note, LongestDetail));
    m_ui.checkDetail->setVisible(!m_ui.checkDetail->text().isEmpty());
    m_keyword = check.keyword();
    m_ui.repairBtn->setAccessibleName(qtTrId("RepairNamed").arg(check.title()));
    showOutcome(check);
}

void CheckRowView::showOutcome(const QenCheckModel& check) {
    using Outcome = QenCheckModel::Outcome;
    const Outcome outcome = check.outcome();
    const Look look = lookOf(outcome);
    Theme::setPicture(m_ui.checkMark, look.picture, Theme::IconSize, Theme::color(look.color));
    m_ui.checkMark->setAccessibleName(look.word);
    // A failed check's title may still sound like good news.
    m_ui.checkVerdict->setText(look.word);
    Theme::setRole(m_ui.checkVerdict, "textRole", look.role);
    m_ui.checkVerdict->setVisible(outcome == Outcome::Failed || outcome == Outcome::Unknown);
    // What could not be found out counts as not met, and has the words of that beside its own.
    const bool isFailed = outcome == Outcome::Failed || (outcome == Outcome::Unknown && check.isWarn());
    const CheckLook::CheckRow row = CheckLook::checkRow(isFailed, check.keyword());
    const bool hasResult = isFailed || outcome == Outcome::Passed;
    setState(hasResult ? row.stateText : outcome == Outcome::Running ? look.word : QString(), look.role);
    m_ui.repairBtn->setVisible(row.hasRepairButton);
    m_ui.checkState->setVisible(!row.hasRepairButton);
    setAccessibleName(u"%1，%2"_s.arg(check.title(), look.word));
}

void CheckRowView::setState(const QString& text, const QString& role) {
    m_ui.checkState->setText(text);
    Theme::setRole(m_ui.checkState, "textRole", role);
}

void CheckRowView::setFolded(bool isFolded) {
    m_checks->setHidden(isFolded);
    m_ui.foldBtn->setArrowType(isFolded ? Qt::RightArrow : Qt::DownArrow);
    m_ui.foldBtn->setAccessibleName(
        (isFolded ? qtTrId("UnfoldNamed") : qtTrId("FoldNamed")).arg(m_ui.checkTitle->text()));
    m_ui.foldBtn->setToolTip(isFolded ? qtTrId("Unfold") : qtTrId("Fold"));
}

void CheckRowView::toggleFold() {
    if (m_checks)
        setFolded(!m_checks->isHidden());
}

void CheckRowView::mousePressEvent(QMouseEvent*) {
    toggleFold();
}
