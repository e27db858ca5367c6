#pragma once

#include "Completion.h"
#include "NotificationCenter.h"
#include "PollTimer.h"
#include "Reachability.h"
#include "Session.h"
#include "TaskGroup.h"
#include "ui_QenDetailWindow.h"

#include <QDialog>
#include <QImage>

#include <chrono>
#include <functional>
#include <memory>

class AccountForm;
class ApplicationInterface;
class ITDevice;
class QenCloudLoginHelper;
class QenDetailWindow;
class QenLogHelper;
class QenServerConfig;

/// What the left bar and the login window stand on; all of it outlives them.
struct SessionViewWorld {
    ApplicationInterface& application;
    QenCloudLoginHelper& login;
    QenServerConfig& config;
    ITDevice& device;
    QenLogHelper& log;
    Platform::NotificationCenter& center;
    /// Work that the views have begun and do not wait for.
    Platform::TaskGroup& work;
    /// Of the two session polls.
    std::chrono::milliseconds pollInterval{3000};
    std::chrono::milliseconds codeInterval{12000};
    std::chrono::milliseconds consoleInterval{10000};
    /// By default the running system's facts.
    Platform::Reachability::Reader networkReader{};
};

/// Whoever runs the session polls for the login window and closes it once a sign-in is complete. Main thread.
class StartCheckLoginDelegate {
public:
    virtual ~StartCheckLoginDelegate() = default;
    /// The window waits for a sign-in: its progress is asked for and posted.
    virtual void StartCheckLogin() = 0;
    virtual void closeDetailWindow(QenDetailWindow* window) = 0;
};

/// The login window: sign-in by QR code or account, the password that the server may demand first, logout, and this
/// device's identity with a button to copy each part of it.
///
/// Follows the session. Blocks the window it is opened over while it is shown, and deletes itself when closed. Main
/// thread; whatever waits or asks the server runs on queues of its own.
class QenDetailWindow final : public QDialog {
    Q_OBJECT
public:
    enum Page { QRPage = 0, AccountPage = 1, ResetPage = 2, SignedInPage = 3 };

    /// @param startCheckLoginDelegate  outlives the window
    QenDetailWindow(
        SessionViewWorld world, StartCheckLoginDelegate& startCheckLoginDelegate, QWidget* parent = nullptr);

    void StartCheckQR();
    void closeCheckQR() { m_GDCheckQRTimer.reset(); }
    void refreshLb(const Platform::Notification& notification);
    /// Hears "update_Lable_notification" no more.
    void stopObserving() { m_observer = {}; }
    void tipText(const QString& text) { showAlertTipForLogin(text); }
    /// In place of how the scan goes on.
    void showScanFailure(const QString& text);
    /// Any thread.
    void showAlertTipForLogin(const QString& text);

    bool isresetPassword() const { return m_isresetPassword; }
    /// Somebody is signed in and shown as such: the window is no sign-in then.
    bool isShownSignedIn() const;

private:
    void load();
    /// Tells over this window, or over the main one when this is closed by then, and may outlive it. Main thread.
    std::function<void(const QString&)> alert();
    void makeForm();
    void connectPages();
    void buildTabs();
    void selectPage(Page page);
    void followNetwork();
    void createCheckQRTimer();
    void createCheckLoginTimer();
    void showQR(const QImage& image);
    void showState(qint64 state);
    void refreshUI();
    void showSignedOut();
    void sessionChanged(SessionState old, SessionState now);

    void tapConfirmBtn();
    void resetPassBtn();
    void ConfirmResetPassBtn();
    void logoutBtn();

    const SessionViewWorld m_world;
    StartCheckLoginDelegate& m_startCheckLoginDelegate;
    Ui::QenDetailWindow m_ui;
    AccountForm* m_form = nullptr;
    const std::shared_ptr<Platform::SerialQueue> m_timerCheckQueue;
    std::unique_ptr<PollTimer> m_GDCheckQRTimer;
    std::unique_ptr<PollTimer> m_GDCheckLoginTimer;
    Platform::NotificationCenter::Observer m_observer;
    Platform::Reachability m_reachability;
    bool m_isresetPassword = false;
    Platform::Receiver m_answers;
};
