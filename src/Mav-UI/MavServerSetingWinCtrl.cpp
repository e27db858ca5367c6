#include "MavServerSetingWinCtrl.h"

#include "ServerAddress.h"
#include "Theme.h"
#include "ui_MavServerSetingWinCtrl.h"

#include <QLineEdit>

MavServerSetingWinCtrl::MavServerSetingWinCtrl(QString applicationSupport, QWidget* window)
    : QDialog(window, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_applicationSupport(std::move(applicationSupport)), m_ui(std::make_unique<Ui::MavServerSetingWinCtrl>()) {
    m_ui->setupUi(this);
    setWindowModality(Qt::WindowModal);
    setAccessibleName(m_ui->sheetTitle->text());
    setFixedWidth(Theme::BoxWidth);
    for (QPushButton* button : {m_ui->cancelbtn, m_ui->savebtn})
        button->setAccessibleName(button->text());
    m_ui->savebtn->setDefault(true);
    connect(m_ui->savebtn, &QPushButton::clicked, this, &MavServerSetingWinCtrl::okButtonPush);
    connect(m_ui->cancelbtn, &QPushButton::clicked, this, &MavServerSetingWinCtrl::cancelButtonPush);
}

MavServerSetingWinCtrl::~MavServerSetingWinCtrl() = default;

void MavServerSetingWinCtrl::beginSheet() {
    if (!isVisible()) {
        m_ui->domainOrIPLabField->clear();
        m_ui->PortLabField->clear();
        m_ui->domainOrIPLabField->setFocus();
    }
    open();
    raise();
    activateWindow();
}

void MavServerSetingWinCtrl::okButtonPush() {
    const QString address = m_ui->domainOrIPLabField->text();
    const QString port = m_ui->PortLabField->text();
    // A refused entry leaves the sheet open without a message, on purpose.
    if (checkServerAddress(address, port) != ServerAddressFault::None)
        return;
    // The sheet ends whether the record could be written or not; nobody reads it back.
    saveTypedServer(m_applicationSupport, address, port);
    done(1);
}

void MavServerSetingWinCtrl::cancelButtonPush() {
    done(0);
}
