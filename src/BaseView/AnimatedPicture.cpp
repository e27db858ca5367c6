#include "AnimatedPicture.h"

#include "Motion.h"
#include "Theme.h"

#include <QEvent>
#include <QPainter>

using namespace Qt::StringLiterals;

AnimatedPicture::AnimatedPicture(QWidget* parent) : QWidget(parent) {
    connect(&m_movie, &QMovie::frameChanged, this, qOverload<>(&QWidget::update));
}

void AnimatedPicture::setAnimation(const QString& fileName) {
    const QString path = u":/animations/"_s + fileName;
    if (path == m_movie.fileName())
        return;
    m_movie.stop();
    m_movie.setFileName(path);
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
    if (!m_isRunning || !isVisible())
        m_movie.stop();
    else if (Motion::isReduced())
        m_movie.jumpToFrame(0);
    else
        m_movie.start();
    update();
}

bool AnimatedPicture::event(QEvent* event) {
    const bool isHandled = QWidget::event(event);
    if (event->type() == QEvent::Show || event->type() == QEvent::Hide)
        follow();
    return isHandled;
}

void AnimatedPicture::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (m_isRunning) {
        // Drawn at twice its size.
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawPixmap(rect(), m_movie.currentPixmap());
    } else if (!m_picture.isEmpty()) {
        painter.drawPixmap(0, 0, Theme::picture(m_picture, size(), devicePixelRatioF()));
    }
}
