#pragma once

#include "AnswerVerdict.h"
#include "Completion.h"
#include "MainViewWorld.h"
#include "ui_MavLoginStateViewCtrl.h"

#include <QWidget>

#include <functional>

class AccountForm;

/// Sign-in with account and password, the password reset that the server may demand first, and the retrieval by mail.
///
/// Main thread.
class MavLoginStateViewCtrl final : public QWidget {
    Q_OBJECT
public:
    enum Page { AccountPage = 0, ResetPage = 1, RetrievalPage = 2 };

    explicit MavLoginStateViewCtrl(const MainViewWorld& world, QWidget* parent = nullptr);

    /// Called after a successful login, on the main thread.
    void setTapLoginBlock(std::function<void()> block) { m_tapLoginBlock = std::move(block); }
    /// Shows a page with its own fields emptied; the reset page keeps the account and password typed before.
    void selectLoginTypeTableView(int index);

Q_SIGNALS:
    void wantsServerPage();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void makeForm();
    void connectPages();
    void showAccountPage();
    void loginButton();
    void sendUseridtoServerBtn();
    void ConfirmResetPasswordBtn();
    /// Enter in the new password: moves on to its repetition unless it breaks the rule.
    void resetPassBtn();
    void checkNewPassword();
    void showRuleOnce();
    void retrievalAnswered(const AnswerVerdict& verdict, const QString& address);
    void finishSignIn();
    void showTip(const QString& text);

    const MainViewWorld m_world;
    Ui::MavLoginStateViewCtrl m_ui;
    std::function<void()> m_tapLoginBlock;
    AccountForm* m_form = nullptr;
    Platform::Receiver m_answers;
};
