#pragma once

#include "Error.h"
#include "PasswordVerdict.h"
#include "Queue.h"

#include <QJsonObject>
#include <QString>
#include <QWidget>

#include <array>
#include <memory>

class FormField;
class QenCheckPasswordFormat;
class QenCloudLoginHelper;
class QenLogHelper;

namespace Ui {
class MavModifypasswordViewCtrl;
}

/// What the password sheet stands on; all of it outlives the sheet.
struct PasswordSheetWorld {
    QenCloudLoginHelper& login;
    QenLogHelper& log;
    /// The user's Application Support folder, where the signed-in record lies.
    QString applicationSupport;
};

/// The password sheet's content: old password, new one twice, one line for what is wrong.
///
/// Main thread; requests start on a queue of its own.
class MavModifypasswordViewCtrl final : public QWidget {
    Q_OBJECT
public:
    enum ReturnCode { Cancelled = 0, Changed = 1 };

    explicit MavModifypasswordViewCtrl(const PasswordSheetWorld& world, QWidget* parent = nullptr);
    /// Waits for a request that is being started.
    ~MavModifypasswordViewCtrl() override;

    /// Empties the fields, takes the tip away and turns the button on. An answer still on its way is no longer heard.
    void reset();
    /// Gives the keyboard to the first field, once its account is told.
    void begin();

    void okButtonPush();
    void cancelButtonPush();
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
    void resetHandleWithResponse(const QJsonObject& answer, const Platform::Error& error);
    void showTip(const QString& text);

    const PasswordSheetWorld m_world;
    std::unique_ptr<Ui::MavModifypasswordViewCtrl> m_ui;
    QenCheckPasswordFormat* m_checkPasswordCtrl = nullptr;
    /// Counts openings, so that an answer is told from one to an earlier opening.
    int m_opening = 0;
    bool m_isHandlingAnswer = false;
    Platform::SerialQueue m_requests;
};
