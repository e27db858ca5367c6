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
