#include "AnimatedPicture.h"

#include "Motion.h"
#include "Theme.h"

#include <QMovie>
#include <QPainter>

using namespace Qt::StringLiterals;

AnimatedPicture::AnimatedPicture(QWidget* parent) : QWidget(parent) {}

AnimatedPicture::~AnimatedPicture() = default;

void AnimatedPicture::setAnimation(const QString& fileName) {
    if (fileName == m_animation)
        return;
    m_animation = fileName;
    m_movie.reset();
    follow();
}

void AnimatedPicture::setPicture(const QString& name) {
    m_picture = name;
    update();
}

void AnimatedPicture::setRunning(bool isRunning) {
    m_isRunning = isRunning;
    follow();
}

void AnimatedPicture::follow() {
    const bool moves = m_isRunning && isVisible() && !m_animation.isEmpty();
    if (moves && !m_movie) {
        m_movie = std::make_unique<QMovie>(u":/animations/"_s + m_animation);
        connect(m_movie.get(), &QMovie::frameChanged, this, qOverload<>(&QWidget::update));
    }
    if (moves && Motion::isReduced())
        m_movie->jumpToFrame(0);
    else if (moves)
        m_movie->start();
    else
        m_movie.reset();
    update();
}

void AnimatedPicture::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (m_movie) {
        // Drawn at twice its size.
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawPixmap(rect(), m_movie->currentPixmap());
    } else if (!m_isRunning && !m_picture.isEmpty()) {
        painter.drawPixmap(0, 0, Theme::picture(m_picture, size(), devicePixelRatioF()));
    }
}

void AnimatedPicture::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    follow();
}

void AnimatedPicture::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    follow();
}
