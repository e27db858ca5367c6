#pragma once

#include "AccountForm.h"
#include "Completion.h"
#include "ui_MavModifypasswordViewCtrl.h"

#include <QDialog>
#include <QString>
#include <QWidget>

#include <array>

class FormField;
class QenCheckPasswordFormat;

/// The password sheet's content: old password, new one twice, one line for what is wrong.
///
/// Main thread. An answer that comes when the sheet has been closed is told in an alert.
class MavModifypasswordViewCtrl final : public QWidget {
    Q_OBJECT
public:
    enum ReturnCode { Cancelled = 0, Changed = 1 };

    explicit MavModifypasswordViewCtrl(const AccountForm::World& world, QWidget* parent = nullptr);

    /// Empties the fields, takes the tip away and turns the button on. An answer still on its way goes to the alert.
    void reset();
    /// reset(), the account told, and the keyboard in the first field.
    void begin();

    void okButtonPush();
    void cancelButtonPush() { Q_EMIT ended(Cancelled); }
    /// Shows the text of a tip case; any other number hides the tip line.
    void noticesWithCase(PasswordCase passwordCase);

Q_SIGNALS:
    /// The sheet is to close with this return code.
    void ended(int returnCode);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::array<FormField*, 3> fields() const;
    FormField* fieldOf(const QObject* edit) const;
    void resetPassBtn();
    void textShouldEndEditing(const QString& text);
    void notifyToBecomeFirstResponder(const FormField& field);
    void send(const PasswordEntry& entry);
    void resetHandleWithResponse(const AnswerVerdict& verdict);
    void tellLate(const AnswerVerdict& verdict) const;
    void showTip(const QString& text);

    const AccountForm::World m_world;
    Ui::MavModifypasswordViewCtrl m_ui;
    QenCheckPasswordFormat* m_checkPasswordCtrl = nullptr;
    /// Counts openings, so that an answer is told from one to an earlier opening.
    int m_opening = 0;
    bool m_isHandlingAnswer = false;
    Platform::Receiver m_answers;
};

/// The sheet in which a signed-in user replaces the account's password. Ends with 1 when it was changed, 0 when
/// cancelled.
///
/// Kept after it closed, for the next time; what was typed is not.
class MavModifyPasswordCtrl final : public QDialog {
    Q_OBJECT
public:
    MavModifyPasswordCtrl(const AccountForm::World& world, QWidget* window);

    /// Attaches the sheet to its window, empty and with its button on; brings it forward when it is open.
    void beginSheet();
    void done(int returnCode) override;

private:
    MavModifypasswordViewCtrl* m_view;
};
