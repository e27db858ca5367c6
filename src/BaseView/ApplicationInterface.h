#pragma once

#include <QString>

/// How views reach the application they live in.
class ApplicationInterface {
public:
    virtual ~ApplicationInterface() = default;
    /// Makes the menu items follow the login state. Main thread.
    virtual void setItemsHiddenMenu() = 0;
    /// Shows @p text in a warning box over the main window; an empty text shows nothing. Any thread, returns at once.
    virtual void showAlertTipForLogin(const QString& text) = 0;
};
