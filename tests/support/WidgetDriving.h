#pragma once

#include <QAccessible>
#include <QLineEdit>
#include <QTest>
#include <QWidget>

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
