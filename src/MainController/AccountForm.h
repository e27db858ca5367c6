#pragma once

#include "AnswerVerdict.h"
#include "PasswordRules.h"
#include "TaskGroup.h"

#include <QObject>

#include <functional>

class FormField;
class QLabel;
class QenCloudLoginHelper;
class QenLogHelper;
class SpinnerButton;

/// Sign-in with account and password, and the new password that the server may demand first: what the login page and
/// the login window have in common. Their differences are a value, their fields are their own.
///
/// Checks the fields, sends off the main thread, and tells what the answer means. Main thread.
class AccountForm final : public QObject {
    Q_OBJECT
public:
    struct Place {
        AnswerPlace login;
        AnswerPlace reset;
        /// Texts for fields that are empty.
        QString noAccount;
        QString noPassword;
        QString noOtp;
        /// The log's line before a new password is sent.
        QString resetLine;
        /// What is wrong with a field is told in the alert too.
        bool alertsRefusals = false;

        static Place loginPage();
        static Place loginWindow();
    };
    struct Fields {
        FormField* account;
        FormField* password;
        /// Asked for when the agent says so; null: none is ever asked for nor sent.
        FormField* otp;
        SpinnerButton* confirm;
        FormField* newPassword;
        FormField* repeated;
        SpinnerButton* confirmReset;
        /// For what is wrong with the reset as a whole.
        QLabel* resetTips;
    };
    struct World {
        QenCloudLoginHelper& login;
        QenLogHelper& log;
        /// Work that a view has begun; its owner outlives it.
        Platform::TaskGroup& work;
        /// Shows a text to the person, also when the form is gone. Main thread.
        std::function<void(const QString&)> alert;
    };

    AccountForm(World world, Place place, Fields fields, QObject* parent);

    void login();
    void resetPassword();
    /// Whether the new password breaks the rule as it stands; an empty one does not.
    bool isNewPasswordBad() const;
    void clearSecrets();
    /// "账号 … 需要先修改密码，才能登录。"
    QString resetAccountText() const;

Q_SIGNALS:
    /// The server wants a new password first.
    void wantsResetPage();
    /// Signed in.
    void signedIn();
    /// The password is changed, and nobody is signed in by that.
    void passwordChanged();
    /// A new password was refused before it was sent.
    void newPasswordRefused(PasswordCase why);

private:
    struct Request;
    void send(Request request);
    void answered(const Request& request, AnswerVerdict::Show show);
    void refuse(FormField* field, const QString& text);

    const World m_world;
    const Place m_place;
    const Fields m_fields;
};
