#include "TipsLine.h"

#include "ElidedLabel.h"
#include "Theme.h"

#include <QHBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize LargestMark(120, 28);

} // namespace

TipsLine::TipsLine(QWidget* parent)
    : QWidget(parent), m_text(new ElidedLabel(this)), m_notice(new QLabel(this)), m_mark(new QLabel(this)) {
    m_text->setObjectName(u"tipsLab"_s);
    m_text->setProperty("textRole", u"second"_s);
    m_text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_notice->setPixmap(Theme::picture(
        u"notice"_s, {Theme::IconSize, Theme::IconSize}, devicePixelRatioF(), Theme::color(Theme::Color::SecondText)));
    m_notice->hide();
    m_mark->setObjectName(u"organisationMark"_s);
    m_mark->setAccessibleName(qtTrId("OrganisationMark"));
    m_mark->hide();
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::Space8);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_notice);
    layout->addSpacing(Theme::Space8);
    layout->addWidget(m_mark);
}

void TipsLine::setTips(const QString& text) {
    if (text.isEmpty())
        return;
    m_text->setText(text);
    m_notice->show();
}

void TipsLine::setMark(const QImage& mark) {
    if (mark.isNull())
        return;
    // Its file is drawn at twice its size.
    QSize size = mark.size() / 2;
    if (size.width() > LargestMark.width() || size.height() > LargestMark.height())
        size.scale(LargestMark, Qt::KeepAspectRatio);
    QImage drawn = mark.scaled(size * devicePixelRatioF(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    drawn.setDevicePixelRatio(devicePixelRatioF());
    m_mark->setPixmap(QPixmap::fromImage(drawn));
    m_mark->show();
}
