#include "MavNavigationViewCtrl.h"

#include "AccountModel.h"
#include "Bundle.h"
#include "ClientNotifications.h"
#include "Deployment.h"
#include "ITDevice.h"
#include "NetworkLook.h"
#include "QenCloudLoginHelper.h"
#include "QenServerConfig.h"
#include "Reachability.h"
#include "Theme.h"
#include "ToolTileDelegate.h"
#include "ui_MavNavigationViewCtrl.h"

#include <QFile>
#include <QPainter>
#include <QPointer>
#include <QStandardItemModel>

namespace {

constexpr int AvatarSize = 56;
constexpr int EmptyPictureSize = 96;
/// Kept free by the list, needed or not.
constexpr int ScrollBarRoom = 24;
constexpr qint64 LongestTips = 64 * 1024;
enum ToolsState { ToolsPage = 0, EmptyPage = 1 };

QPixmap avatar(qreal scale) {
    QPixmap picture(QSize(AvatarSize, AvatarSize) * scale);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Theme::color(Theme::Color::BrandTint));
    painter.drawEllipse(0, 0, AvatarSize, AvatarSize);
    constexpr int Side = Theme::Space32;
    constexpr int Edge = (AvatarSize - Side) / 2;
    painter.drawPixmap(
        Edge, Edge, Theme::picture(QStringLiteral("avatar"), {Side, Side}, scale, Theme::color(Theme::Color::Brand)));
    return picture;
}

QString readTips(const QString& agentState) {
    QFile file(agentState + QStringLiteral("/tips.txt"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.read(LongestTips)) : QString();
}

QIcon toolIcon(const QString& picture) {
    const bool exists = !picture.isEmpty() && QFile::exists(QStringLiteral(":/images/%1.svg").arg(picture));
    return Theme::icon(exists ? picture : QStringLiteral("AppIcon"));
}

} // namespace

MavNavigationViewCtrl::MavNavigationViewCtrl(const MainViewWorld& world, QWidget* parent)
    : QWidget(parent), m_world(world), m_ui(std::make_unique<Ui::MavNavigationViewCtrl>()),
      m_tools(new QStandardItemModel(this)),
      m_reader(Platform::Deployment::BundleIdentifier + QStringLiteral(".navigation")) {
    m_ui->setupUi(this);
    loadPictures();
    // Takes the keyboard when the page comes up, so that the menu button does not.
    setFocusPolicy(Qt::ClickFocus);
    setAccessibleName(QStringLiteral("主页"));
    m_ui->leftBar->setFixedWidth(Theme::LeftBarWidth);
    if (QWidget* bar = m_world.leftBar ? m_world.leftBar() : nullptr) {
        m_ui->leftBar->hide();
        m_ui->navigationLayout->insertWidget(0, bar);
        bar->show();
    }
    m_ui->toolsList->setModel(m_tools);
    m_ui->toolsList->setItemDelegate(new ToolTileDelegate(this));
    m_ui->toolsList->setViewMode(QListView::IconMode);
    m_ui->toolsList->setMovement(QListView::Static);
    m_ui->toolsList->setResizeMode(QListView::Adjust);
    m_ui->toolsList->setGridSize(ToolTileDelegate::gridSize());
    m_ui->toolsList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_ui->toolsList->setSelectionMode(QAbstractItemView::NoSelection);
    m_ui->toolsList->setMaximumWidth(ToolTileDelegate::TilesPerRow * ToolTileDelegate::gridSize().width() +
                                     ScrollBarRoom);
    m_ui->toolsStates->setCurrentIndex(EmptyPage);
    for (const QString& name :
         {ClientNotification::AppList, ClientNotification::Tips, ClientNotification::ComputerName})
        m_observers.push_back(m_world.center.observe(name, [this](const Platform::Notification&) { refresh(); }));
    followNetwork();
}

MavNavigationViewCtrl::~MavNavigationViewCtrl() {
    m_observers.clear();
}

void MavNavigationViewCtrl::loadPictures() {
    const qreal scale = devicePixelRatioF();
    const QSize small(Theme::IconSize, Theme::IconSize);
    const QColor quiet = Theme::color(Theme::Color::SecondText);
    m_ui->avatarView->setPixmap(avatar(scale));
    m_ui->computerPicture->setPixmap(Theme::picture(QStringLiteral("computer"), small, scale, quiet));
    m_ui->tipsPicture->setPixmap(Theme::picture(QStringLiteral("notice"), small, scale, quiet));
    m_ui->tipsPicture->hide();
    m_ui->emptyPicture->setPixmap(Theme::picture(QStringLiteral("empty"), {EmptyPictureSize, EmptyPictureSize}, scale));
}

void MavNavigationViewCtrl::followNetwork() {
    m_world.reachability.start([view = QPointer(this)](Platform::ReachabilityStatus status) {
        if (view)
            view->updateNetWorkStatus(static_cast<int>(status));
    });
}

void MavNavigationViewCtrl::refresh() {
    m_reader.async([this, view = QPointer(this)] {
        Platform::mainQueue().async([view, facts = readFacts()] {
            if (view)
                view->show(facts);
        });
    });
}

MavNavigationViewCtrl::Facts MavNavigationViewCtrl::readFacts() const {
    const auto record = AccountModel::currentModel(m_world.applicationSupport);
    const QString name = !record ? QString() : record->username().isEmpty() ? record->userid() : record->username();
    m_world.config.readServerConfig();
    return {name, m_world.device.machineName(), m_world.config.AcountIP_Config(), readTips(m_world.agentState),
            toolEntries(m_world.login.AppMgrList())};
}

void MavNavigationViewCtrl::show(const Facts& facts) {
    m_world.reachability.setTarget(facts.server);
    m_ui->userNameLab->setText(facts.userName);
    m_ui->computerNameLab->setText(facts.computerName);
    // Without a text the line keeps what it shows.
    if (!facts.tips.isEmpty()) {
        m_ui->tipsLab->setText(facts.tips);
        m_ui->tipsPicture->show();
    }
    m_tools->clear();
    for (const ToolEntry& tool : facts.tools) {
        auto* item = new QStandardItem(toolIcon(tool.picture), tool.name);
        item->setToolTip(tool.name.toHtmlEscaped());
        item->setFlags(Qt::ItemIsEnabled);
        m_tools->appendRow(item);
    }
    m_ui->toolsStates->setCurrentIndex(facts.tools.isEmpty() ? EmptyPage : ToolsPage);
}

void MavNavigationViewCtrl::updateNetWorkStatus(int status) {
    const auto look = networkLook(status);
    if (!look)
        return;
    const QSize size(Theme::IconSize, Theme::IconSize);
    m_ui->networkPicture->setPixmap(Theme::picture(look->picture, size, devicePixelRatioF()));
    m_ui->networkLab->setText(Platform::localizedString(look->key));
    m_ui->networkPicture->setAccessibleName(m_ui->networkLab->text());
}
