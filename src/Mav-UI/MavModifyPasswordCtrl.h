#pragma once

#include "MavModifypasswordViewCtrl.h"

#include <QDialog>

/// The sheet in which a signed-in user replaces the account's password. Ends with 1 when it was changed, 0 when
/// cancelled.
///
/// Kept after it closed, for the next time; what was typed is not.
class MavModifyPasswordCtrl final : public QDialog {
    Q_OBJECT
public:
    MavModifyPasswordCtrl(const PasswordSheetWorld& world, QWidget* window);

    /// Attaches the sheet to its window, empty and with its button on; brings it forward when it is open.
    void beginSheet();
    void done(int returnCode) override;

private:
    MavModifypasswordViewCtrl* m_view;
};
