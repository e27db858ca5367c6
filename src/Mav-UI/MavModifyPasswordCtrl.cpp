#include "MavModifyPasswordCtrl.h"

#include "QenCloudLoginHelper.h"

#include <QVBoxLayout>

using namespace Qt::StringLiterals;

MavModifyPasswordCtrl::MavModifyPasswordCtrl(const PasswordSheetWorld& world, QWidget* window)
    : QDialog(window, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_view(new MavModifypasswordViewCtrl(world, this)) {
    setObjectName(u"MavModifyPasswordCtrl"_s);
    setAccessibleName(u"修改密码"_s);
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(m_view);
    connect(m_view, &MavModifypasswordViewCtrl::ended, this, &MavModifyPasswordCtrl::done);
    // There is no password to change for somebody who is not signed in any more.
    connect(&world.login.session(), &Session::changed, this, [this](SessionState, SessionState now) {
        if (now == SessionState::SignedOut && isVisible())
            done(MavModifypasswordViewCtrl::Cancelled);
    });
}

void MavModifyPasswordCtrl::beginSheet() {
    if (!isVisible()) {
        m_view->reset();
        m_view->begin();
    }
    open();
    raise();
    activateWindow();
}

void MavModifyPasswordCtrl::done(int returnCode) {
    QDialog::done(returnCode);
    // Passwords do not wait in a closed sheet.
    m_view->reset();
}
