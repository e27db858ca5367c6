#include "CheckRowView.h"

#include "CheckLook.h"
#include "ElidedLabel.h"
#include "HoverPictureButton.h"
#include "Theme.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

namespace {

constexpr int LineGap = 2;

} // namespace

CheckRowView::CheckRowView(QWidget* parent)
    : QWidget(parent), m_fold(makeFold()), m_icon(new QLabel(this)), m_title(new QLabel(this)),
      m_detail(new ElidedLabel(this)), m_state(new QLabel(this)), m_repair(makeRepair()) {
    setFixedHeight(Height);
    m_icon->hide();
    for (QLabel* label : {m_title, m_state})
        label->setTextFormat(Qt::PlainText);
    m_title->setObjectName(QStringLiteral("checkTitle"));
    m_detail->setObjectName(QStringLiteral("checkDetail"));
    m_detail->setProperty("textRole", QStringLiteral("note"));
    m_state->setObjectName(QStringLiteral("checkState"));

    auto* texts = new QVBoxLayout;
    texts->setSpacing(LineGap);
    texts->addStretch();
    texts->addWidget(m_title);
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
    button->setObjectName(QStringLiteral("foldBtn"));
    button->setProperty("kind", QStringLiteral("icon"));
    button->setFocusPolicy(Qt::TabFocus);
    button->hide();
    connect(button, &QToolButton::clicked, this, &CheckRowView::foldWanted);
    return button;
}

HoverPictureButton* CheckRowView::makeRepair() {
    auto* button = new HoverPictureButton(this);
    button->setObjectName(QStringLiteral("repairBtn"));
    button->setProperty("kind", QStringLiteral("textTool"));
    button->setText(QStringLiteral("修复"));
    button->setToolTip(QStringLiteral("查看如何修复"));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setIconSize({Theme::SmallIconSize, Theme::SmallIconSize});
    button->setPictures(QStringLiteral("repairBtn"), QStringLiteral("repairBtn_hover"));
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
    setState(look.repairText, true);
}

void CheckRowView::show(const QenCheckModel& check) {
    const CheckLook::CheckRow look = CheckLook::checkRow(check.isWarn(), check.keyword());
    m_title->setText(check.title());
    m_detail->setText(check.detail());
    m_detail->setVisible(!check.detail().isEmpty());
    m_keyword = check.keyword();
    setState(look.stateText, check.isWarn());
    m_repair->setAccessibleName(QStringLiteral("修复 %1").arg(check.title()));
    m_repair->setVisible(look.hasRepairButton);
    m_state->setVisible(!look.hasRepairButton);
}

void CheckRowView::setState(const QString& text, bool isWarn) {
    m_state->setText(text);
    Theme::setRole(m_state, "textRole", isWarn ? QStringLiteral("warn") : QStringLiteral("safe"));
}

void CheckRowView::setFolded(bool isFolded) {
    m_fold->setArrowType(isFolded ? Qt::RightArrow : Qt::DownArrow);
    m_fold->setAccessibleName((isFolded ? QStringLiteral("展开 %1") : QStringLiteral("收起 %1")).arg(m_title->text()));
    m_fold->setToolTip(isFolded ? QStringLiteral("展开") : QStringLiteral("收起"));
}

void CheckRowView::mousePressEvent(QMouseEvent*) {
    if (!m_fold->isHidden())
        Q_EMIT foldWanted();
}

void CheckRowView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(0, height() - 1, width(), 1, Theme::color(Theme::Color::Line));
}
