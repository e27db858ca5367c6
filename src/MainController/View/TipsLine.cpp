#include "TipsLine.h"

#include "Theme.h"

using namespace Qt::StringLiterals;

TipsLine::TipsLine(QWidget* parent) : QWidget(parent) {
    m_ui.setupUi(this);
    Theme::setPicture(m_ui.notice, u"notice"_s, Theme::IconSize, Theme::color(Theme::Color::SecondText));
    m_ui.organisationMark->setAccessibleName(qtTrId("OrganisationMark"));
}

void TipsLine::setTips(const QString& text) {
    if (text.isEmpty())
        return;
    m_ui.tipsLab->setText(text);
    m_ui.notice->show();
}

void TipsLine::setMark(const QImage& mark) {
    if (mark.isNull())
        return;
    // Its file is drawn at twice its size.
    QSize size = mark.size() / 2;
    constexpr QSize LargestMark(120, 28);
    if (size.width() > LargestMark.width() || size.height() > LargestMark.height())
        size.scale(LargestMark, Qt::KeepAspectRatio);
    QImage drawn = mark.scaled(size * devicePixelRatioF(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    drawn.setDevicePixelRatio(devicePixelRatioF());
    m_ui.organisationMark->setPixmap(QPixmap::fromImage(drawn));
    m_ui.organisationMark->show();
}
