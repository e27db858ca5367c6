#include "HoverPictureButton.h"

#include "Theme.h"

#include <QKeyEvent>

HoverPictureButton::HoverPictureButton(QWidget* parent) : QToolButton(parent) {
    setFocusPolicy(Qt::TabFocus);
}

void HoverPictureButton::setPictures(const QString& normal, const QString& hover) {
    m_normal = normal;
    m_hover = hover;
    follow();
}

QString HoverPictureButton::picture() const {
    return m_isHovered ? m_hover : m_normal;
}

void HoverPictureButton::follow() {
    setIcon(Theme::icon(picture()));
}

void HoverPictureButton::enterEvent(QEnterEvent* event) {
    m_isHovered = true;
    follow();
    QToolButton::enterEvent(event);
}

void HoverPictureButton::leaveEvent(QEvent* event) {
    m_isHovered = false;
    follow();
    QToolButton::leaveEvent(event);
}

void HoverPictureButton::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QToolButton::keyPressEvent(event);
}
