#pragma once

#include "BaseWindowController.h"
#include "DetailVerdict.h"
#include "NotificationCenter.h"
#include "PasswordRules.h"
#include "PollTimer.h"
#include "Reachability.h"
#include "SessionViewWorld.h"

#include <QImage>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class DeviceFactRow;
class FormField;
class MainThreadGate;
class QLabel;
class StartCheckLoginDelegate;

namespace Ui {
class QenDetailWindow;
}

/// The login window: sign-in by QR code or account, the password that the server may demand first, logout, and this
/// device's identity with a button to copy each part of it.
///
/// Blocks the window it is opened over while it is shown, and deletes itself when closed. Main thread; whatever waits
/// or asks the server runs on queues of its own.
class QenDetailWindow final : public BaseWindowController {
    Q_OBJECT
public:
    enum Page { QRPage = 0, AccountPage = 1, ResetPage = 2, SignedInPage = 3 };

    /// @param delegate  outlives the window
    QenDetailWindow(SessionViewWorld world, StartCheckLoginDelegate& delegate, QWidget* parent = nullptr);
    ~QenDetailWindow() override;

    void StartCheckQR();
    void closeCheckQR();
    void refreshLb(const Platform::Notification& notification);
    /// Hears "update_Lable_notification" no more.
    void stopObserving() { m_observer = {}; }
    void tipText(const QString& text);
    void showAlertTipForLogin(const QString& text);

    /// The server ended the session: a window that shows it offers the sign-in again.
    void sessionEnded();

    bool isresetPassword() const { return m_isresetPassword; }
    /// Signed in and shown as such: the window is no sign-in then.
    bool isShownSignedIn() const;
    bool isSignOutPending() const;

Q_SIGNALS:
    /// Closed, by whomever.
    void closed();

protected:
    void windowDidLoad() override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    using Answer = std::function<void(const QJsonObject&, const Platform::Error&)>;
    using Handler = void (QenDetailWindow::*)(const QJsonObject&, const Platform::Error&);
    /// A completion that carries the answer to the main thread; once this window is gone, only the news that somebody
    /// is signed in.
    Answer answerTo(Handler handler);

    void connectPages();
    void buildTabs();
    void selectPage(Page page);
    void loadDevicePanel();
    void followNetwork();
    void createCheckQRTimer();
    void createCheckLoginTimer();
    void showQR(const QImage& image);
    void showState(qint64 state);
    void refreshUI();
    void clearSecrets();
    void showSignedOut();

    void tapConfirmBtn();
    void accountLoginHandleWithResponse(const QJsonObject& answer, const Platform::Error& error);
    void resetPassBtn();
    void ConfirmResetPassBtn();
    void refuseReset(PasswordCase passwordCase);
    void resetHandleWithResponse(const QJsonObject& answer, const Platform::Error& error);
    void logoutBtn();
    void logoutHandleWithResponse(const QJsonObject& answer, const Platform::Error& error);
    void showVerdict(const DetailVerdict& verdict);
    void refuse(FormField* field, const QString& text);

    void copyDeviceName();
    void copySystemVersion();
    void copyIPAddress();
    void copyMacAddress();
    void copyDeviceType();
    void copyMacVersion();
    void copy(const DeviceFactRow& row);
    void showAlertTip(const QString& text);

    const SessionViewWorld m_world;
    StartCheckLoginDelegate& m_startCheckLoginDelegate;
    std::unique_ptr<Ui::QenDetailWindow> m_ui;
    std::shared_ptr<MainThreadGate> m_gate;
    std::shared_ptr<Platform::SerialQueue> m_timerCheckQueue;
    std::unique_ptr<PollTimer> m_GDCheckQRTimer;
    std::unique_ptr<PollTimer> m_GDCheckLoginTimer;
    Platform::NotificationCenter::Observer m_observer;
    Platform::Reachability m_reachability;
    std::shared_ptr<Platform::SerialQueue> m_requests;
    QLabel* m_alertTip;
    QTimer m_alertTipEnd;
    bool m_isresetPassword = false;
};
