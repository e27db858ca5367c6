#pragma once

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QAccessible>
#include <QFocusFrame>
#include <QLabel>
#include <QLineEdit>
#include <QSet>
#include <QTest>
#include <QWidget>

using namespace Qt::StringLiterals;

/// Widgets of a window by object name, used with keys and clicks as a person does.

template <typename Widget>
Widget* find(QWidget& root, const char* name) {
    auto* widget = root.findChild<Widget*>(QString::fromLatin1(name));
    if (!widget)
        qFatal("there is no widget %s", name);
    return widget;
}

/// Empties a field and types into it.
inline void type(QWidget& root, const char* field, const QString& text) {
    auto* edit = find<QLineEdit>(root, field);
    edit->setFocus();
    edit->clear();
    QTest::keyClicks(edit, text);
}

/// What somebody hears who cannot see @p widget.
inline QString spokenName(QWidget* widget) {
    const QAccessibleInterface* found = QAccessible::queryAccessibleInterface(widget);
    return found ? found->text(QAccessible::Name) : QString();
}

/// Where Tab leads from the widget that has the keyboard, @p steps widgets long; one without a name to be heard is
/// told.
inline QStringList tabOrder(QWidget& window, qsizetype steps) {
    QStringList reached;
    for (qsizetype step = 0; step < steps; ++step) {
        QWidget* focus = window.focusWidget();
        reached << (spokenName(focus).isEmpty() ? "nameless " : "") + focus->objectName();
        QTest::keyClick(focus, Qt::Key_Tab);
    }
    return reached;
}

/// True when what @p widget says has less room than a line needs, or what is around it cuts it off; that of a scrolled
/// place may be scrolled to.
inline bool isSqueezed(const QWidget* widget) {
    for (const QWidget* around = widget; around; around = around->parentWidget()) {
        if (qobject_cast<const QAbstractScrollArea*>(around))
            return false;
    }
    const bool isWhole = widget->visibleRegion().boundingRect() == widget->rect();
    return !isWhole || widget->fontMetrics().height() > widget->contentsRect().height();
}

/// True when a person does not see all of what @p widget says, and no tool tip has it.
inline bool isCut(const QWidget* widget) {
    if (qobject_cast<const QLineEdit*>(widget))
        return isSqueezed(widget);
    const auto* label = qobject_cast<const QLabel*>(widget);
    const auto* button = qobject_cast<const QAbstractButton*>(widget);
    const QString text = label ? label->text() : button ? button->text() : QString();
    const QWidget* teller = widget; // a row's tip is that of its label
    while (teller->toolTip().isEmpty() && !teller->isWindow())
        teller = teller->parentWidget();
    if (!text.isEmpty() && isSqueezed(widget))
        return true;
    // An elided label makes its tip when it is asked for.
    if (text.isEmpty() || !teller->toolTip().isEmpty() || widget->inherits("ElidedLabel") ||
        (label && Qt::mightBeRichText(text)))
        return false;
    if (label && label->wordWrap())
        return label->height() < label->heightForWidth(label->width());
    return widget->fontMetrics().size(Qt::TextShowMnemonic, text).width() > widget->width();
}

/// What keeps somebody from using @p window without a mouse or without seeing it: a control that Tab does not reach, or
/// that has no name or role to be heard, the keyboard at a place that nothing marks, a text that is cut.
inline QStringList doorsShut(QWidget& window) {
    constexpr int MostSteps = 60;
    QStringList faults;
    const auto isMet = [&window](QWidget* each) {
        return each->isVisibleTo(&window) && each->isEnabledTo(&window) && (each->focusPolicy() & Qt::TabFocus) &&
            each->window() == &window && !each->visibleRegion().isEmpty();
    };
    QSet<QWidget*> left;
    for (QWidget* each : window.findChildren<QWidget*>()) {
        const QString name = QString::fromLatin1(each->metaObject()->className()) + u' ' + each->objectName();
        // A text that has just changed gets its room with the next turn of the event loop.
        if (each->isVisibleTo(&window) && !QTest::qWaitFor([each] { return !isCut(each); }, 1000))
            faults << u"cut: "_s + name;
        if (!isMet(each))
            continue;
        left << each;
        const QAccessibleInterface* heard = QAccessible::queryAccessibleInterface(each);
        if (spokenName(each).isEmpty() || !heard || heard->role() == QAccessible::NoRole)
            faults << u"nameless: "_s + name;
    }
    for (int step = 0; step < MostSteps && !left.isEmpty(); ++step) {
        QWidget* focus = window.focusWidget();
        QTest::keyClick(focus ? focus : &window, Qt::Key_Tab);
        QWidget* now = window.focusWidget();
        if (!now || !left.remove(now))
            continue;
        const auto isMarked = [&window, now] {
            const auto frames = window.findChildren<QFocusFrame*>(u"focusRing"_s);
            return std::any_of(frames.begin(), frames.end(),
                [now](const QFocusFrame* frame) { return frame->isVisible() && frame->widget() == now; });
        };
        if (!QTest::qWaitFor(isMarked, 1000))
            faults << u"unmarked: "_s + now->objectName();
    }
    for (const QWidget* unreached : std::as_const(left))
        faults << u"out of reach: "_s + QString::fromLatin1(unreached->metaObject()->className()) + u' ' +
                unreached->objectName();
    return faults;
}
