#pragma once

#include <QString>

/// How views reach the application they live in.
class ApplicationInterface {
public:
    virtual ~ApplicationInterface() = default;
    /// Shows @p text in a warning box over the main window; an empty text shows nothing. Any thread, returns at once.
    virtual void showAlertTipForLogin(const QString& text) = 0;
};
