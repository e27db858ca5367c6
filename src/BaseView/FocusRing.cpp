#include "FocusRing.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QFocusFrame>
#include <QLineEdit>

using namespace Qt::StringLiterals;

namespace {

bool wantsRing(const QWidget* widget) {
    return qobject_cast<const QAbstractButton*>(widget) || qobject_cast<const QLineEdit*>(widget) ||
        qobject_cast<const QAbstractScrollArea*>(widget);
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
