#pragma once

#include "ui_MavExportLogController.h"

#include <QDialog>
#include <QPointer>
#include <QString>

class QFileDialog;
class QenLogHelper;

/// The sheet in which a person chooses a folder and has all logs packed into it. Ends with 1 when the export was
/// started, 0 when cancelled.
///
/// Kept after it closed: the folder chosen is offered again. The export runs on behind the closed sheet, and only a log
/// line tells how it went. Main thread.
class MavExportLogController final : public QDialog {
    Q_OBJECT
public:
    enum ReturnCode { Cancelled = 0, Started = 1 };

    /// Asks for the user's Desktop, which is where the first export goes.
    /// @param log  outlives the sheet and every export
    MavExportLogController(QenLogHelper& log, QWidget* window);

    /// Attaches the sheet to its window; brings it forward when it is open.
    void beginSheet();
    void done(int returnCode) override;

    const QString& currentDirectoryPath() const { return m_currentDirectoryPath; }
    /// Lets the person choose another folder; returns at once. Cancelling changes nothing.
    void selectCustomFolderPath();
    /// Starts the export and closes the sheet, whatever becomes of the export.
    void excuteExportLog();
    void cancelAction() { done(Cancelled); }

Q_SIGNALS:
    /// An export runs from now on, or the last one that ran is over.
    void exportingChanged(bool isExporting);

private:
    void tellContent(bool isReport);
    void setCurrentDirectoryPath(const QString& path);
    void countExports(int more);

    QenLogHelper& m_log;
    Ui::MavExportLogController m_ui;
    QString m_currentDirectoryPath;
    QPointer<QFileDialog> m_picker;
    int m_runningExports = 0;
};
