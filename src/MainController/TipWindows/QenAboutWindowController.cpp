#include "QenAboutWindowController.h"

#include "Bundle.h"
#include "Theme.h"
#include "ui_QenAboutWindowController.h"

using namespace Qt::StringLiterals;

QenAboutWindowController::QenAboutWindowController(QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint) {
    Ui::QenAboutWindowController ui;
    ui.setupUi(this);
    setAccessibleName(qtTrId("AboutMav"));
    constexpr int MarkSize = 72;
    Theme::setPicture(ui.markView, u"mark"_s, MarkSize);
    ui.versionLab->setText(qtTrId("VersionNamed").arg(Platform::infoValue(u"CFBundleShortVersionString"_s)));
    ui.buildLab->setText(qtTrId("BuildNamed").arg(Platform::infoValue(u"CFBundleVersion"_s)));
    connect(ui.closeBtn, &QPushButton::clicked, this, &QWidget::close);
}
