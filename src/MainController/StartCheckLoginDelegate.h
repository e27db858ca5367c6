#pragma once

class QenDetailWindow;

/// Whoever runs the session polls for the login window and closes it once a sign-in is complete. Main thread.
class StartCheckLoginDelegate {
public:
    virtual ~StartCheckLoginDelegate() = default;
    /// The window waits for a sign-in: its progress is asked for and posted.
    virtual void StartCheckLogin() = 0;
    virtual void closeDetailWindow(QenDetailWindow* window) = 0;
};
