#include "MavNavigationViewCtrl.h"

#include "QenCloudLoginHelper.h"
#include "QenMainViewController.h"
#include "QenServerConfig.h"
#include "Reachability.h"
#include "StringTable.h"
#include "Theme.h"

using namespace Qt::StringLiterals;

MavNavigationViewCtrl::MavNavigationViewCtrl(const MainViewWorld& world, QWidget* parent)
    : QWidget(parent), m_world(world) {
    m_ui.setupUi(this);
    takeInViews();
    m_world.reachability.start(m_answers.wrapped(
        [this](Platform::ReachabilityStatus status) { updateNetWorkStatus(static_cast<int>(status)); }));
    connect(&m_world.login.session(), &Session::changed, this, &MavNavigationViewCtrl::showNote);
    showNote();
}

void MavNavigationViewCtrl::takeInViews() {
    if (QWidget* bar = m_world.leftBar ? m_world.leftBar() : nullptr) {
        m_ui.navigationLayout->insertWidget(0, bar);
        bar->show();
    }
    m_mainView = m_world.mainView ? m_world.mainView() : nullptr;
    if (!m_mainView)
        return;
    m_ui.headLineLayout->addWidget(m_mainView->tipsLine(), 1);
    m_mainView->tipsLine()->show();
    m_ui.navigationColumn->addWidget(m_mainView, 1);
    m_mainView->show();
}

void MavNavigationViewCtrl::refresh() {
    const auto follow = m_answers.wrapped(
        [&reachability = m_world.reachability](const QString& server) { reachability.setTarget(server); });
    Platform::globalQueue().async([&config = m_world.config, busy = m_world.work.token(), follow] {
        config.readServerConfig();
        follow(config.AcountIP_Config());
    });
    if (m_mainView)
        m_mainView->loadToolsView();
}

void MavNavigationViewCtrl::updateNetWorkStatus(int status) {
    if (status < -1 || status > 2)
        return;
    const bool isOnline = status > 0;
    Theme::setPicture(m_ui.networkPicture, isOnline ? u"Mav-icon"_s : u"Mav-gray"_s, Theme::IconSize);
    m_ui.networkLab->setText(localizedString(isOnline ? u"MavSuccess"_s : u"ReconnectServer"_s));
    m_ui.networkPicture->setAccessibleName(m_ui.networkLab->text());
    if (isOnline)
        m_offlineSince = {};
    else if (!m_offlineSince.isValid())
        m_offlineSince = QDateTime::currentDateTime();
    showNote();
}

void MavNavigationViewCtrl::showNote() {
    const bool isPending = m_world.login.session().state() == SessionState::LogoutPending;
    const QString since = m_offlineSince.isValid()
        ? localizedString(u"OfflineSince"_s).arg(m_offlineSince.toString(u"HH:mm"_s))
        : QString();
    m_ui.noteLab->setText(isPending ? localizedString(u"SignOutPending"_s) : since);
    m_ui.noteLab->setVisible(!m_ui.noteLab->text().isEmpty());
}
