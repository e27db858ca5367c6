#include "FocusRing.h"

#include <QApplication>
#include <QFocusFrame>

using namespace Qt::StringLiterals;

namespace {

bool wantsRing(const QWidget* widget) {
    return !widget->isWindow() && widget->focusPolicy() != Qt::NoFocus;
}

} // namespace

FocusRing::FocusRing(QApplication* application) : QObject(application) {
    connect(application, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { follow(now); });
}

void FocusRing::follow(QWidget* widget) {
    if (!widget || !wantsRing(widget)) {
        if (m_frame)
            m_frame->setWidget(nullptr);
        return;
    }
    // The frame lives in the control's window and dies with it.
    if (!m_frame) {
        m_frame = new QFocusFrame(widget);
        m_frame->setObjectName(u"focusRing"_s);
        m_frame->setAttribute(Qt::WA_TransparentForMouseEvents);
    }
    m_frame->setWidget(widget);
}
