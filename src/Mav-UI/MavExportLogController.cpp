#include "MavExportLogController.h"

#include "QenLogHelper.h"
#include "Queue.h"
#include "Theme.h"
#include "WrappableText.h"

#include <QAbstractButton>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

constexpr int OrdinaryType = 1;
constexpr int FailureType = 2;

/// @p path, or the first folder above it that is there.
QString existingFolder(const QString& path) {
    QString folder = path;
    while (!QFileInfo(folder).isDir() && folder != QFileInfo(folder).path())
        folder = QFileInfo(folder).path();
    return folder;
}

/// Words and buttons of ours for the toolkit's own chooser, which shows where the desktop has none.
void dress(QFileDialog& picker) {
    picker.setLabelText(QFileDialog::LookIn, u"位置"_s);
    picker.setLabelText(QFileDialog::FileName, u"文件夹"_s);
    picker.setLabelText(QFileDialog::FileType, u"类型"_s);
    picker.setLabelText(QFileDialog::Accept, u"选择"_s);
    picker.setLabelText(QFileDialog::Reject, u"取消"_s);
    const auto* buttons = picker.findChild<QDialogButtonBox*>();
    if (!buttons)
        return;
    picker.setNameFilter(u"文件夹"_s);
    picker.setViewMode(QFileDialog::List);
    for (QAbstractButton* button : buttons->buttons()) {
        const bool accepts = buttons->buttonRole(button) == QDialogButtonBox::AcceptRole;
        Theme::setRole(button, "kind", accepts ? u"primary"_s : u"outline"_s);
    }
}

} // namespace

MavExportLogController::MavExportLogController(QenLogHelper& log, QWidget* window) : QDialog(window), m_log(log) {
    m_ui.setupUi(this);
    connect(m_ui.reportOnly, &QCheckBox::toggled, this, &MavExportLogController::tellContent);
    tellContent(false);
    m_ui.boxGround->setFixedWidth(Theme::BoxWidth);
    Theme::setPicture(m_ui.customDirPicture, u"folder"_s, Theme::SmallIconSize, Theme::color(Theme::Color::SecondText));
    connect(m_ui.customDirPath, &QPushButton::clicked, this, &MavExportLogController::selectCustomFolderPath);
    connect(m_ui.exportButton, &QPushButton::clicked, this, &MavExportLogController::excuteExportLog);
    connect(m_ui.cancelButton, &QPushButton::clicked, this, &MavExportLogController::cancelAction);
    setCurrentDirectoryPath(m_log.desktopDirectory());
}

void MavExportLogController::setCurrentDirectoryPath(const QString& path) {
    m_currentDirectoryPath = path;
    m_ui.customDirTitle->setText(path);
    m_ui.customDirPath->setToolTip(toolTipText(path));
    m_ui.customDirPath->setAccessibleName(m_ui.customDirLab->text() + u'：' + path);
}

/// What the archive will hold, before it is written.
void MavExportLogController::tellContent(bool isReport) {
    m_ui.contentLab->setText(isReport ? u"包含版本与桌面信息、登录状态、诊断与检查结果、状态文件和各日志的结尾。姓名、"
                                        u"账号、地址、主机名、票据和序列号"
                                        "均以代号代替；证书、密钥和图片不在其中。"_s
                                      : u"打包客户端、本机代理和 VPN 组件的日志与运行数据，供技术支持排查问题。"_s);
    setAccessibleDescription(m_ui.contentLab->text());
}

void MavExportLogController::beginSheet() {
    if (!isVisible())
        m_ui.customDirPath->setFocus();
    open();
    raise();
    activateWindow();
}

void MavExportLogController::done(int returnCode) {
    // A choice that is still open goes with the sheet it belongs to.
    if (QFileDialog* picker = m_picker.data())
        picker->reject();
    QDialog::done(returnCode);
}

void MavExportLogController::selectCustomFolderPath() {
    if (QFileDialog* shown = m_picker.data()) {
        shown->raise();
        shown->activateWindow();
        return;
    }
    auto* picker = new QFileDialog(this, u"选择导出位置"_s, existingFolder(m_currentDirectoryPath));
    picker->setAttribute(Qt::WA_DeleteOnClose);
    picker->setFileMode(QFileDialog::Directory);
    picker->setOption(QFileDialog::ShowDirsOnly);
    dress(*picker);
    connect(picker, &QFileDialog::fileSelected, this, &MavExportLogController::setCurrentDirectoryPath);
    m_picker = picker;
    picker->open();
}

void MavExportLogController::excuteExportLog() {
    countExports(1);
    // Lives as long as the export holds its completion, which may be called more than once.
    const std::shared_ptr<void> running(nullptr, [sheet = QPointer(this)](void*) {
        Platform::mainQueue().async([sheet] {
            if (MavExportLogController* self = sheet.data())
                self->countExports(-1);
        });
    });
    const auto complete = [&log = m_log, running](bool success, const QString& message) {
        if (success)
            log.writeLog(u"QenCloud export log success"_s, OrdinaryType);
        else
            log.writeLog(u"QenCloud export log failed with error:"_s + message, FailureType);
    };
    if (m_ui.reportOnly->isChecked())
        m_log.makeReport(m_currentDirectoryPath, complete);
    else
        m_log.zipLogsWithDirectory(m_currentDirectoryPath, complete);
    done(Started);
}

void MavExportLogController::countExports(int more) {
    const bool wasExporting = m_runningExports > 0;
    m_runningExports += more;
    if (wasExporting != (m_runningExports > 0))
        Q_EMIT exportingChanged(!wasExporting);
}
