#include "QenAboutWindowController.h"

#include "Bundle.h"
#include "Theme.h"
#include "ui_QenAboutWindowController.h"

#include <QKeyEvent>
#include <QLayout>

namespace {

constexpr int MarkSize = 72;
constexpr int WindowWidth = 360;

} // namespace

QenAboutWindowController::QenAboutWindowController(QWidget* parent)
    : BaseWindowController(parent,
                           Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_ui(std::make_unique<Ui::QenAboutWindowController>()) {
    m_ui->setupUi(this);
    setFixedWidth(WindowWidth);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
    setAccessibleName(QStringLiteral("关于 Mav"));
    m_ui->markView->setPixmap(Theme::picture(QStringLiteral("mark"), {MarkSize, MarkSize}, devicePixelRatioF()));
    m_ui->versionLab->setText(
        QStringLiteral("版本 %1").arg(Platform::infoValue(QStringLiteral("CFBundleShortVersionString"))));
    m_ui->buildLab->setText(QStringLiteral("构建 %1").arg(Platform::infoValue(QStringLiteral("CFBundleVersion"))));
    connect(m_ui->closeBtn, &QPushButton::clicked, this, &QWidget::close);
}

QenAboutWindowController::~QenAboutWindowController() = default;

void QenAboutWindowController::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else
        BaseWindowController::keyPressEvent(event);
}
