#include "QenMainViewController.h"

#include "ArchiveStore.h"
#include "ClientNotifications.h"
#include "CustomMessageBox.h"
#include "Deployment.h"
#include "ForeignPicture.h"
#include "IntegerValue.h"
#include "NetworkPolicyFollower.h"
#include "QenCloudLoginHelper.h"
#include "QenLogHelper.h"
#include "QenMainLeftBar.h"
#include "QenTrustedAppWindow.h"
#include "StateFiles.h"
#include "Theme.h"
#include "TipsLine.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 SessionExpired = 2;
constexpr qint64 NotSignedIn = 0;
constexpr qint64 DomainLogin = 3;
constexpr int SafeLevel = 0;
constexpr int HighestLevel = 3;
constexpr int StatusPictureSize = 48;
constexpr int HiddenPictureSize = 96;
constexpr qint64 LongestTips = 64 * 1024;
enum ToolsState { ToolsShown = 0, ToolsHidden = 1 };

QString fetchLocalTips(const QString& agentState) {
    QFile file(agentState + u'/' + StateFiles::Tips);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.read(LongestTips)) : QString();
}

QImage fetchMarkImage(const QString& agentState) {
    return readForeignPicture(agentState + u'/' + StateFiles::MarkImage);
}

QColor edgeColor(int level) {
    return Theme::color(level == SafeLevel ? Theme::Color::Safe
            : level >= HighestLevel        ? Theme::Color::Danger
                                           : Theme::Color::Attention);
}

} // namespace

ToolsLook toolsLook(qint64 loginType, bool isCheckAndShow) {
    const bool isShown = loginType != NotSignedIn && isCheckAndShow;
    return {isShown, isShown && loginType != DomainLogin};
}

QenMainViewController::QenMainViewController(CheckViewWorld world, QenMainLeftBar& leftBar, QWidget* parent)
    : QWidget(parent), m_world(std::move(world)), m_leftBar(leftBar), m_tipsLine(new TipsLine(this)),
      m_joinDomain(m_world.joinDomain), m_toolOpener(m_world.workspace), m_round(m_world.round),
      m_reader(Deployment::BundleIdentifier + u".mainview"_s) {
    m_ui.setupUi(this);
    m_tipsLine->hide();
    setUpPages();
    followRound();
    loadJoinDomainButton();
    loadToolsView();
    updateTipsFromConfigWithNotification();
    updateLogoFromConfigWithNotification();
    m_world.login.Get_Save_Config();
    addQenNotifications();
    connect(&m_world.login.session(), &Session::changed, this, [this](SessionState old, SessionState now) {
        if (old != now)
            loadToolsView();
    });
    m_leftBar.setTabCallback([this](int tag) { selectTab(tag); });
    m_round.changeUIWithWarnLevel(SafeLevel);
    m_round.getDataFromPlist();
}

QenMainViewController::~QenMainViewController() {
    m_observers.clear();
    if (TipsLine* line = m_tipsLine.data(); line && line->parent() != this)
        delete line;
}

QWidget* QenMainViewController::tipsLine() const {
    return m_tipsLine;
}

void QenMainViewController::addQenNotifications() {
    using Self = QenMainViewController;
    // The join-domain button depends on two files of the agent.
    const std::pair<QString, void (Self::*)()> followed[] = {
        {ClientNotification::Tips, &Self::updateTipsFromConfigWithNotification},
        {ClientNotification::Logo, &Self::updateLogoFromConfigWithNotification},
        {ClientNotification::ComputerName, &Self::updateComputerNameFromJoinDomainWithNotification},
        {ClientNotification::JoinDomainSwitch, &Self::loadJoinDomainButton},
        {ClientNotification::InacSsid, &Self::loadJoinDomainButton},
        {ClientNotification::NgnSwitch, &Self::changeAvailableAppListButtonStatus}};
    using Platform::Notification;
    for (const auto& row : followed)
        m_observers.push_back(m_world.center.observe(
            row.first, [this, handler = row.second](const Notification&) { (this->*handler)(); }));
    m_observers.push_back(m_world.center.observe(
        ClientNotification::AppList, [this](const Notification& notification) { loadToolsView(notification.object); }));
}

void QenMainViewController::setUpPages() {
    for (QToolButton* button : {m_ui.reCheckBtn, m_ui.detailReCheckBtn})
        connect(button, &QToolButton::clicked, this, &QenMainViewController::reCheckBtnClick);
    for (CheckTreeView* tree : {m_ui.overviewTree, m_ui.detailTree}) {
        connect(tree, &CheckTreeView::repairWanted, this, &QenMainViewController::tapRepairBtn);
        connect(
            &m_round, &QenCheckRound::dataSourceChanged, tree, [this, tree] { tree->setNodes(m_round.dataSource()); });
        connect(&m_round, &QenCheckRound::roundStarted, tree, &CheckTreeView::reload);
        connect(&m_round, &QenCheckRound::rowChanged, tree, &CheckTreeView::reloadRow);
    }
    connect(m_ui.repairAllBtn, &QPushButton::clicked, this, &QenMainViewController::showDetails);
    connect(m_ui.joinDomainBtn, &QPushButton::clicked, &m_joinDomain, &JoinDomainAction::tapDomainBtn);
    connect(&m_joinDomain, &JoinDomainAction::joiningChanged, m_ui.joinDomainBtn, &SpinnerButton::setBusy);
    connect(m_ui.applistButton, &QPushButton::clicked, this, &QenMainViewController::applistButtonDidClicked);
    m_ui.toolsView->setWorkspace(m_world.workspace);
    connect(m_ui.toolsView, &QenToolsView::pressed, this,
        [this](const QenToolModel& tool) { m_toolOpener.open(tool, window()); });
    Theme::setPicture(m_ui.toolsHiddenPicture, u"empty"_s, HiddenPictureSize);
    m_ui.applistButton->setIcon(Theme::icon(u"applist"_s, Theme::color(Theme::Color::SecondText)));
    m_ui.joinDomainBtn->setIcon(Theme::icon(u"joinDomain"_s, Theme::color(Theme::Color::SecondText)));
}

// The round ----------------------------------------------------------------------------------------------------------

void QenMainViewController::followRound() {
    connect(&m_round, &QenCheckRound::roundStarted, this, &QenMainViewController::roundStarted);
    connect(&m_round, &QenCheckRound::levelApplied, this, &QenMainViewController::changeUIWithWarnLevel);
    connect(&m_round, &QenCheckRound::detailButtonHidden, &m_leftBar, &QenMainLeftBar::setHideDetilBtn);
    connect(&m_round, &QenCheckRound::completed, this, &QenMainViewController::roundCompleted);
    connect(&m_round, &QenCheckRound::passEnded, this, [this] {
        if (m_round.isChecking() && !m_round.isClosing())
            roundStalled();
    });
}

void QenMainViewController::roundStarted() {
    setReCheckEnabled(false);
    for (QLabel* label : {m_ui.stateLab, m_ui.smallStateLab, m_ui.detailStateLab})
        label->setText(CheckLook::Checking);
    m_ui.countLab->clear();
    m_ui.repairAllBtn->hide();
    setRoundRunning(true);
}

void QenMainViewController::roundStalled() {
    for (CheckTreeView* tree : {m_ui.overviewTree, m_ui.detailTree})
        tree->endRunning();
    // It will never be complete, which must not lock the person out of the next one.
    m_ui.countLab->setText(u"部分检测项没有结果，请重新检测"_s);
    setRoundRunning(false);
    setReCheckEnabled(true);
}

void QenMainViewController::setRoundRunning(bool isRunning) {
    m_ui.stateCircle->setRunning(isRunning);
    m_ui.smallStatePicture->setRunning(isRunning);
    m_ui.pointView->setRunning(isRunning);
    m_ui.pointView->setVisible(isRunning);
}

void QenMainViewController::setReCheckEnabled(bool isEnabled) {
    m_ui.reCheckBtn->setEnabled(isEnabled);
    m_ui.detailReCheckBtn->setEnabled(isEnabled);
}

void QenMainViewController::changeUIWithWarnLevel(int level) {
    const CheckLook::Pictures pictures = CheckLook::picturesFor(level);
    m_ui.complianceBand->setLook(pictures.background, edgeColor(level));
    m_ui.stateCircle->setAnimation(pictures.statusAnimation);
    m_ui.stateCircle->setPicture(pictures.stateCircle);
    m_ui.smallStatePicture->setAnimation(pictures.smallAnimation);
    m_ui.pointView->setAnimation(pictures.pointAnimation);
    for (QToolButton* button : {m_ui.reCheckBtn, m_ui.detailReCheckBtn})
        button->setIcon(Theme::icon(pictures.recheckButton, {}, pictures.recheckButtonHover));
    Theme::setPicture(m_ui.statusPicture, pictures.status, StatusPictureSize);
    m_leftBar.setUIWithWarnLevel(level);
    if (level == SafeLevel) {
        m_ui.stateLab->setText(CheckLook::stateText(SafeLevel));
        m_ui.smallStateLab->setText(CheckLook::stateText(SafeLevel));
        m_ui.repairAllBtn->hide();
    } else {
        m_ui.repairAllBtn->setText(CheckLook::repairTitle(m_round.warnCount()));
        m_ui.repairAllBtn->setAccessibleName(m_ui.repairAllBtn->text());
        m_ui.repairAllBtn->show();
    }
    Theme::setRole(m_ui.smallStateLab, "textRole", level == SafeLevel ? u"second"_s : u"warn"_s);
}

void QenMainViewController::roundCompleted(const CheckLook::Closing& closing) {
    setReCheckEnabled(true);
    m_ui.countLab->setText(closing.countText);
    if (!closing.smallStateText.isNull())
        m_ui.smallStateLab->setText(closing.smallStateText);
    if (closing.hidesDetailButton && m_ui.tabView->currentIndex() == QenMainLeftBar::DetailTab) {
        m_leftBar.switchbtnsecond();
        selectTab(QenMainLeftBar::ToolsTab);
    }
    setRoundRunning(false);
    m_ui.stateCircle->setPicture(closing.picture);
    m_ui.smallStatePicture->setPicture(closing.smallPicture);
    m_ui.stateLab->setText(closing.stateText);
    m_ui.detailStateLab->setText(m_ui.smallStateLab->text());
}

void QenMainViewController::reCheckBtnClick() {
    m_round.recheck();
    m_ui.overviewTree->expandAll();
    m_ui.detailTree->expandAll();
}

void QenMainViewController::tapRepairBtn(const QString& keyword) {
    m_world.openHelp(keyword, window());
}

void QenMainViewController::showDetails() {
    m_leftBar.functionListHandleWithTag(QenMainLeftBar::DetailTab, true);
}

void QenMainViewController::selectTab(int tag) {
    m_ui.tabView->setCurrentIndex(tag);
    if (tag == QenMainLeftBar::DetailTab)
        m_ui.detailTree->expandAll();
}

// Tools --------------------------------------------------------------------------------------------------------------

void QenMainViewController::loadToolsView(const QVariant& object) {
    m_reader.async([this, object] {
        if (integerValue(object) == SessionExpired) {
            Session& session = m_world.login.session();
            session.submit(TicketTimeOut{session.asked()});
            tipText(u"登录超时，请重新登录"_s);
        }
        updateToolsViewWithLogintype(m_world.login.currentLoginType());
    });
}

void QenMainViewController::updateToolsViewWithLogintype(qint64 loginType) {
    const QList<QenToolModel> models =
        toolModels(m_world.login.AppMgrList(), [this](const QString& line) { m_world.log.writeLog(line); });
    const SessionModel session = m_world.login.session().current();
    // A domain session has no ticket, so nothing ever confirms it.
    const bool isConfirmed = session.isConfirmed || session.state() == SessionState::Domain;
    Tools tools{toolsLook(loginType, isConfirmed), models};
    tools.look.showsAvailableApplications &= !m_world.login.HiddenNGNSwitchBtn();
    m_answers.async([this, tools] { showTools(tools); });
}

void QenMainViewController::showTools(const Tools& tools) {
    m_leftBar.setMachineName();
    m_ui.toolsStates->setCurrentIndex(tools.look.showsTools ? ToolsShown : ToolsHidden);
    m_ui.applistButton->setVisible(tools.look.showsAvailableApplications);
    m_ui.toolsView->setModels(tools.look.showsTools ? tools.models : QList<QenToolModel>());
}

void QenMainViewController::applistButtonDidClicked() {
    if (!m_trustedAppWindow)
        m_trustedAppWindow = new QenTrustedAppWindow(m_world.login, window());
    m_trustedAppWindow->openOver(window());
}

void QenMainViewController::tipText(const QString& message) {
    m_answers.async([this, message] {
        auto* box = new CustomMessageBox(window());
        box->setWindowModality(Qt::WindowModal);
        box->setTitle(u"提醒"_s, message, CustomMessageBox::BoxStyle::Warning, u"确定"_s, {});
        box->attach();
    });
}

// The agent's files --------------------------------------------------------------------------------------------------

void QenMainViewController::updateTipsFromConfigWithNotification() {
    m_reader.async([this] {
        m_answers.async([line = m_tipsLine, tips = fetchLocalTips(m_world.agentState)] {
            if (line)
                line->setTips(tips);
        });
    });
}

void QenMainViewController::updateLogoFromConfigWithNotification() {
    m_reader.async([this] {
        m_answers.async([line = m_tipsLine, mark = fetchMarkImage(m_world.agentState)] {
            if (line)
                line->setMark(mark);
        });
    });
}

void QenMainViewController::updateComputerNameFromJoinDomainWithNotification() {
    m_answers.async([this] { m_leftBar.setMachineName(); });
}

void QenMainViewController::loadJoinDomainButton() {
    m_reader.async([this] {
        const auto status = unarchivedObjectWithFilePath(m_world.agentState + u'/' + StateFiles::JoinDomainSwitch);
        const bool isOffered =
            offersJoinDomain(status ? status->toVariant() : QVariant(), storedNetworkAccessPolicy(m_world.agentState));
        m_answers.async([this, isOffered] { m_ui.joinDomainBtn->setVisible(isOffered); });
    });
}
