#include "MavExportLogController.h"

#include "QenLogHelper.h"
#include "Queue.h"
#include "Theme.h"
#include "ui_MavExportLogController.h"

#include <QFileDialog>

namespace {

constexpr int OrdinaryType = 1;
constexpr int FailureType = 2;

} // namespace

MavExportLogController::MavExportLogController(QenLogHelper& log, QWidget* window)
    : QDialog(window, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_log(log), m_ui(std::make_unique<Ui::MavExportLogController>()) {
    m_ui->setupUi(this);
    setWindowModality(Qt::WindowModal);
    setAccessibleName(m_ui->sheetTitle->text());
    setAccessibleDescription(m_ui->contentLab->text());
    setFixedWidth(Theme::BoxWidth);
    for (QPushButton* button : {m_ui->cancelButton, m_ui->exportButton})
        button->setAccessibleName(button->text());
    m_ui->exportButton->setDefault(true);
    connect(m_ui->customDirPath, &QPushButton::clicked, this, &MavExportLogController::selectCustomFolderPath);
    connect(m_ui->exportButton, &QPushButton::clicked, this, &MavExportLogController::excuteExportLog);
    connect(m_ui->cancelButton, &QPushButton::clicked, this, &MavExportLogController::cancelAction);
    setCurrentDirectoryPath(m_log.desktopDirectory());
}

MavExportLogController::~MavExportLogController() = default;

void MavExportLogController::setCurrentDirectoryPath(const QString& path) {
    m_currentDirectoryPath = path;
    m_ui->customDirPath->setTitle(path);
    m_ui->customDirPath->setAccessibleName(m_ui->customDirLab->text() + u'：' + path);
}

void MavExportLogController::beginSheet() {
    if (!isVisible())
        m_ui->customDirPath->setFocus();
    open();
    raise();
    activateWindow();
}

void MavExportLogController::done(int returnCode) {
    // A choice that is still open goes with the sheet it belongs to.
    if (m_picker)
        m_picker->reject();
    QDialog::done(returnCode);
}

void MavExportLogController::selectCustomFolderPath() {
    if (m_picker) {
        m_picker->raise();
        m_picker->activateWindow();
        return;
    }
    m_picker = new QFileDialog(this, QStringLiteral("选择导出位置"), m_currentDirectoryPath);
    m_picker->setAttribute(Qt::WA_DeleteOnClose);
    m_picker->setFileMode(QFileDialog::Directory);
    m_picker->setOption(QFileDialog::ShowDirsOnly);
    connect(m_picker, &QFileDialog::fileSelected, this, &MavExportLogController::setCurrentDirectoryPath);
    m_picker->open();
}

void MavExportLogController::excuteExportLog() {
    // Lives as long as the export holds its completion, which may be called more than once.
    const std::shared_ptr<void> running(nullptr, [sheet = QPointer(this)](void*) {
        Platform::mainQueue().async([sheet] {
            if (MavExportLogController* self = sheet.data())
                self->exportEnded();
        });
    });
    if (++m_runningExports == 1)
        Q_EMIT exportingChanged(true);
    m_log.zipLogsWithDirectory(m_currentDirectoryPath, [&log = m_log, running](bool success, const QString& message) {
        if (success)
            log.writeLog(QStringLiteral("QenCloud export log success"), OrdinaryType);
        else
            log.writeLog(QStringLiteral("QenCloud export log failed with error:") + message, FailureType);
    });
    done(Started);
}

void MavExportLogController::exportEnded() {
    if (--m_runningExports == 0)
        Q_EMIT exportingChanged(false);
}

void MavExportLogController::cancelAction() {
    done(Cancelled);
}
