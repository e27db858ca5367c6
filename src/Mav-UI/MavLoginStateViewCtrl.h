#pragma once

#include "Error.h"
#include "LoginVerdict.h"
#include "MainViewWorld.h"
#include "PasswordVerdict.h"
#include "Queue.h"

#include <QJsonObject>
#include <QWidget>

#include <functional>
#include <memory>

class FormField;

namespace Ui {
class MavLoginStateViewCtrl;
}

/// Sign-in with account and password, the password reset that the server may demand first, and the retrieval by mail.
///
/// Main thread; requests start on a queue of its own.
class MavLoginStateViewCtrl final : public QWidget {
    Q_OBJECT
public:
    enum Page { AccountPage = 0, ResetPage = 1, RetrievalPage = 2 };

    explicit MavLoginStateViewCtrl(const MainViewWorld& world, QWidget* parent = nullptr);
    /// Waits for a request that is being started.
    ~MavLoginStateViewCtrl() override;

    /// Called after a successful login, on the main thread.
    void setTapLoginBlock(std::function<void()> block) { m_tapLoginBlock = std::move(block); }
    /// Shows a page with its own fields emptied; the reset page keeps the account and password typed before.
    void selectLoginTypeTableView(int index);

Q_SIGNALS:
    void wantsServerPage();

private:
    void connectPages();
    void showAccountPage();
    void loginButton();
    void scanLoginButton();
    void sendUseridtoServerBtn();
    void ConfirmResetPasswordBtn();
    /// Enter in the new password: moves on to its repetition unless it breaks the rule.
    void resetPassBtn();
    void checkNewPassword();
    void showRuleOnce();
    void accountLoginHandleWithResponse(const QJsonObject& answer, const Platform::Error& error);
    void retrievalHandleWithResponse(const QJsonObject& answer, const Platform::Error& error);
    void resetHandleWithResponse(const QJsonObject& answer, const Platform::Error& error);
    void finishSignIn();
    void refuse(FormField* field, const QString& key);
    void refusePassword(PasswordCase passwordCase);
    void showTip(const QString& text);

    using Handler = void (MavLoginStateViewCtrl::*)(const QJsonObject&, const Platform::Error&);
    /// A completion that carries the answer to the main thread, and nowhere once this view is gone.
    std::function<void(const QJsonObject&, const Platform::Error&)> answerTo(Handler handler);

    const MainViewWorld m_world;
    std::unique_ptr<Ui::MavLoginStateViewCtrl> m_ui;
    std::function<void()> m_tapLoginBlock;
    Platform::SerialQueue m_requests;
};
