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

} // namespace

CheckRowView::CheckRowView(QWidget* parent)
    : QWidget(parent), m_fold(makeFold()), m_icon(new QLabel(this)), m_title(new QLabel(this)),
      m_detail(new ElidedLabel(this)), m_state(new QLabel(this)), m_repair(makeRepair()) {
    setFixedHeight(Height);
    m_icon->hide();
    for (QLabel* label : {m_title, m_state})
        label->setTextFormat(Qt::PlainText);
    m_title->setObjectName(u"checkTitle"_s);
    m_detail->setObjectName(u"checkDetail"_s);
    m_detail->setProperty("textRole", u"note"_s);
    m_state->setObjectName(u"checkState"_s);

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
    button->setText(u"修复"_s);
    button->setToolTip(u"查看如何修复"_s);
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
    setState(look.repairText, true);
}

void CheckRowView::show(const QenCheckModel& check) {
    const CheckLook::CheckRow look = CheckLook::checkRow(check.isWarn(), check.keyword());
    m_title->setText(check.title());
    m_detail->setText(check.detail());
    m_detail->setVisible(!check.detail().isEmpty());
    m_keyword = check.keyword();
    setState(look.stateText, check.isWarn());
    m_repair->setAccessibleName(u"修复 %1"_s.arg(check.title()));
    m_repair->setVisible(look.hasRepairButton);
    m_state->setVisible(!look.hasRepairButton);
}

void CheckRowView::setState(const QString& text, bool isWarn) {
    m_state->setText(text);
    Theme::setRole(m_state, "textRole", isWarn ? u"warn"_s : u"safe"_s);
}

void CheckRowView::setFolded(bool isFolded) {
    m_fold->setArrowType(isFolded ? Qt::RightArrow : Qt::DownArrow);
    m_fold->setAccessibleName((isFolded ? u"展开 %1"_s : u"收起 %1"_s).arg(m_title->text()));
    m_fold->setToolTip(isFolded ? u"展开"_s : u"收起"_s);
}

void CheckRowView::mousePressEvent(QMouseEvent*) {
    if (!m_fold->isHidden())
        Q_EMIT foldWanted();
}

void CheckRowView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(0, height() - 1, width(), 1, Theme::color(Theme::Color::Line));
}
