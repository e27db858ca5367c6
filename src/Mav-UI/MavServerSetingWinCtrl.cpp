#include "MavServerSetingWinCtrl.h"

#include "ArchiveStore.h"
#include "FileManager.h"
#include "StateFiles.h"
#include "StringExtension.h"
#include "Theme.h"

#include <QLineEdit>

TypedServer::Fault TypedServer::fault() const {
    // The address test alone would let a host name through.
    if (StringExtension::isLetter(address) || !StringExtension::isValidatIP(address))
        return Fault::Address;
    return StringExtension::isPureNumandCharacters(port) ? Fault::None : Fault::Port;
}

bool TypedServer::save(const QString& applicationSupport) const {
    const QString folder = FileManager().createDirectoryWithName(StateFiles::UserFolder, applicationSupport);
    // The same pair twice and the name spelled so, both on purpose: that is the record's form. Nobody here reads it.
    const auto pair = Platform::ArchiveValue(QStringList{address, port}).asOneInstance();
    return archiveRootObject(Platform::ArchiveValue(Platform::ArchiveValue::Array{pair, pair}).asMutable(),
        folder + u'/' + StateFiles::ServerAddress);
}

MavServerSetingWinCtrl::MavServerSetingWinCtrl(QString applicationSupport, QWidget* window)
    : QDialog(window), m_applicationSupport(std::move(applicationSupport)) {
    m_ui.setupUi(this);
    setFixedWidth(Theme::BoxWidth);
    connect(m_ui.savebtn, &QPushButton::clicked, this, &MavServerSetingWinCtrl::okButtonPush);
    connect(m_ui.cancelbtn, &QPushButton::clicked, this, &MavServerSetingWinCtrl::cancelButtonPush);
}

void MavServerSetingWinCtrl::beginSheet() {
    if (!isVisible()) {
        m_ui.domainOrIPLabField->clear();
        m_ui.PortLabField->clear();
        m_ui.domainOrIPLabField->setFocus();
    }
    open();
    raise();
    activateWindow();
}

void MavServerSetingWinCtrl::okButtonPush() {
    const TypedServer typed{m_ui.domainOrIPLabField->text(), m_ui.PortLabField->text()};
    // A refused entry leaves the sheet open without a message, on purpose.
    if (typed.fault() != TypedServer::Fault::None)
        return;
    // The sheet ends whether the record could be written or not; nobody reads it back.
    typed.save(m_applicationSupport);
    done(1);
}
