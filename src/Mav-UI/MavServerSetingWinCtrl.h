#pragma once

#include <QDialog>

#include <memory>

namespace Ui {
class MavServerSetingWinCtrl;
}

/// The sheet in which a user types another server: IPv4 address and port. It refuses without a word; ends with 1 when
/// saved, 0 when cancelled.
class MavServerSetingWinCtrl final : public QDialog {
    Q_OBJECT
public:
    /// @param applicationSupport  the user's Application Support folder, where the typed pair is kept
    MavServerSetingWinCtrl(QString applicationSupport, QWidget* window);
    ~MavServerSetingWinCtrl() override;

    /// Attaches the sheet, its fields empty, to its window.
    void beginSheet();
    void okButtonPush();
    void cancelButtonPush();

private:
    const QString m_applicationSupport;
    std::unique_ptr<Ui::MavServerSetingWinCtrl> m_ui;
};
