#pragma once

#include "ui_MavServerSetingWinCtrl.h"

#include <QDialog>

/// A server as a person types it. Its address is an IPv4 address: host names are refused. The page tells what is wrong,
/// the sheet refuses without a word.
struct TypedServer {
    QString address;
    QString port;

    enum class Fault { None, Address, Port };
    /// In the order in which a fault is told. An empty port passes.
    Fault fault() const;
    /// Writes the pair to "domianorip.archive" in the folder "QenCloudL" of @p applicationSupport, made when missing.
    /// @returns false when it could not be written
    bool save(const QString& applicationSupport) const;
};

/// The sheet in which a user types another server. It ends with 1 when saved, 0 when cancelled.
class MavServerSetingWinCtrl final : public QDialog {
    Q_OBJECT
public:
    /// @param applicationSupport  the user's Application Support folder, where the typed pair is kept
    MavServerSetingWinCtrl(QString applicationSupport, QWidget* window);

    /// Attaches the sheet, its fields empty, to its window.
    void beginSheet();
    void okButtonPush();
    void cancelButtonPush() { done(0); }

private:
    const QString m_applicationSupport;
    Ui::MavServerSetingWinCtrl m_ui;
};
