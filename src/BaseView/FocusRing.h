#pragma once

#include <QObject>
#include <QPointer>

class QApplication;
class QFocusFrame;
class QWidget;

/// Shows the focus ring around whatever control has the keyboard, in every window of the program.
class FocusRing final : public QObject {
    Q_OBJECT
public:
    explicit FocusRing(QApplication* application);

private:
    void follow(QWidget* widget);

    QPointer<QFocusFrame> m_frame;
};
