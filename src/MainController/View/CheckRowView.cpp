#include "CheckRowView.h"

#include "CheckLook.h"
#include "ElidedLabel.h"
#include "HoverPictureButton.h"
#include "Theme.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int LineGap = 2;

/// How an outcome looks.
struct Look {
    QString picture;
    Theme::Color color;
    QString role;
    QString word;
};

Look lookOf(QenCheckModel::Outcome outcome) {
    using Outcome = QenCheckModel::Outcome;
    switch (outcome) {
    case Outcome::Passed:
        return {u"outcome_passed"_s, Theme::Color::SafeText, u"safe"_s, u"正常"_s};
    case Outcome::Failed:
        return {u"outcome_failed"_s, Theme::Color::Danger, u"failed"_s, qtTrId("CheckFailed")};
    case Outcome::Unknown:
        return {u"outcome_unknown"_s, Theme::Color::SecondText, u"second"_s, qtTrId("CheckUnknown")};
    case Outcome::Running:
        break;
    }
    return {u"outcome_running"_s, Theme::Color::Brand, u"second"_s, qtTrId("CheckRunning")};
}

} // namespace

CheckRowView::CheckRowView(QWidget* parent)
    : QWidget(parent), m_fold(makeFold()), m_icon(new QLabel(this)), m_title(new QLabel(this)),
      m_verdict(new QLabel(this)), m_detail(new ElidedLabel(this)), m_state(new QLabel(this)), m_repair(makeRepair()) {
    setFixedHeight(Height);
    m_icon->setObjectName(u"checkMark"_s);
    m_icon->hide();
    for (QLabel* label : {m_title, m_verdict, m_state})
        label->setTextFormat(Qt::PlainText);
    m_title->setObjectName(u"checkTitle"_s);
    m_verdict->setObjectName(u"checkVerdict"_s);
    m_verdict->hide();
    m_detail->setObjectName(u"checkDetail"_s);
    m_detail->setProperty("textRole", u"note"_s);
    m_state->setObjectName(u"checkState"_s);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(LineGap);
    texts->addStretch();
    auto* head = new QHBoxLayout;
    head->setSpacing(Theme::Space8);
    head->addWidget(m_title);
    head->addWidget(m_verdict);
    head->addStretch();
    texts->addLayout(head);
    texts->addWidget(m_detail);
    texts->addStretch();
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::Space8, 0, Theme::Space16, 0);
    layout->setSpacing(Theme::Space12);
    layout->addWidget(m_fold);
    layout->addWidget(m_icon);
    layout->addLayout(texts, 1);
    layout->addWidget(m_state);
    layout->addWidget(m_repair);
}

QToolButton* CheckRowView::makeFold() {
    auto* button = new QToolButton(this);
    button->setObjectName(u"foldBtn"_s);
    button->setProperty("kind", u"icon"_s);
    button->setFocusPolicy(Qt::TabFocus);
    button->hide();
    connect(button, &QToolButton::clicked, this, &CheckRowView::foldWanted);
    return button;
}

HoverPictureButton* CheckRowView::makeRepair() {
    auto* button = new HoverPictureButton(this);
    button->setObjectName(u"repairBtn"_s);
    button->setProperty("kind", u"textTool"_s);
    button->setText(qtTrId("Repair"));
    button->setToolTip(qtTrId("RepairTip"));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setIconSize({Theme::SmallIconSize, Theme::SmallIconSize});
    button->setPictures(u"repairBtn"_s, u"repairBtn_hover"_s);
    button->hide();
    connect(button, &QToolButton::clicked, this, [this] { Q_EMIT repairWanted(m_keyword); });
    return button;
}

void CheckRowView::show(const QenRootModel& category) {
    const CheckLook::CategoryRow look = CheckLook::categoryRow(category.isWarn(), category.repairNum());
    m_fold->show();
    m_icon->setPixmap(Theme::picture(look.icon, {Theme::Space24, Theme::Space24}, devicePixelRatioF()));
    m_icon->show();
    m_title->setText(category.name());
    m_detail->hide();
    setState(look.repairText, u"failed"_s);
}

void CheckRowView::show(const QenCheckModel& check) {
    m_title->setText(check.title());
    const QString note = check.note();
    m_detail->setText(note.isEmpty() ? check.detail() : note);
    m_detail->setVisible(!m_detail->text().isEmpty());
    m_keyword = check.keyword();
    m_repair->setAccessibleName(qtTrId("RepairNamed").arg(check.title()));
    showOutcome(check);
}

void CheckRowView::showOutcome(const QenCheckModel& check) {
    using Outcome = QenCheckModel::Outcome;
    const Outcome outcome = check.outcome();
    const Look look = lookOf(outcome);
    m_icon->setPixmap(Theme::picture(
        look.picture, {Theme::IconSize, Theme::IconSize}, devicePixelRatioF(), Theme::color(look.color)));
    m_icon->setAccessibleName(look.word);
    m_icon->show();
    // A failed check's title may still sound like good news.
    m_verdict->setText(look.word);
    Theme::setRole(m_verdict, "textRole", look.role);
    m_verdict->setVisible(outcome == Outcome::Failed || outcome == Outcome::Unknown);
    // What could not be found out counts as not met, and has the words of that beside its own.
    const bool isFailed = outcome == Outcome::Failed || (outcome == Outcome::Unknown && check.isWarn());
    const CheckLook::CheckRow row = CheckLook::checkRow(isFailed, check.keyword());
    const bool hasResult = isFailed || outcome == Outcome::Passed;
    setState(hasResult ? row.stateText : outcome == Outcome::Running ? look.word : QString(), look.role);
    m_repair->setVisible(row.hasRepairButton);
    m_state->setVisible(!row.hasRepairButton);
    setAccessibleName(u"%1，%2"_s.arg(check.title(), look.word));
}

void CheckRowView::setState(const QString& text, const QString& role) {
    m_state->setText(text);
    Theme::setRole(m_state, "textRole", role);
}

void CheckRowView::setFolded(bool isFolded) {
    m_fold->setArrowType(isFolded ? Qt::RightArrow : Qt::DownArrow);
    m_fold->setAccessibleName((isFolded ? qtTrId("UnfoldNamed") : qtTrId("FoldNamed")).arg(m_title->text()));
    m_fold->setToolTip(isFolded ? qtTrId("Unfold") : qtTrId("Fold"));
}

void CheckRowView::mousePressEvent(QMouseEvent*) {
    if (!m_fold->isHidden())
        Q_EMIT foldWanted();
}

void CheckRowView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(0, height() - 1, width(), 1, Theme::color(Theme::Color::Line));
}
