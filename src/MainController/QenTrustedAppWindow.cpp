#include "QenTrustedAppWindow.h"

#include "ArrayExtension.h"
#include "BaseWindowController.h"
#include "Deployment.h"
#include "QenCloudLoginHelper.h"
#include "SystemLog.h"
#include "Theme.h"
#include "WrappableText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QPointer>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize WindowSize(480, 520);
constexpr int HeadingHeight = 40;
constexpr int RowHeight = 44;
constexpr int EmptyPictureSize = 96;
/// The longest name drawn.
constexpr qsizetype LongestName = 512;
/// The third, which shows at first, says that the list is being read.
enum ListState { ListShown = 0, ListEmpty = 1 };

QString consoleText(const QVariantList& list) {
    return QString::fromUtf8(QJsonDocument(QJsonArray::fromVariantList(list)).toJson(QJsonDocument::Compact));
}

} // namespace

std::vector<QenCategoryMode> trustedCategories(const QVariantList& trustedApps) {
    std::vector<QenCategoryMode> categories;
    for (const QVariant& entry : trustedApps) {
        const auto category = QenCategoryMode::initWithDictionary(entry);
        if (!category)
            continue;
        if (!ArrayExtension::isContainsObject(categories, category->categoryType())) {
            categories.push_back(*category);
            continue;
        }
        const auto position = ArrayExtension::ObjectPositionToArray(categories, category->categoryType());
        for (const QString& name : category->trustedAppList())
            categories[static_cast<size_t>(position)].addAppObj(name);
    }
    return categories;
}

std::vector<QenCategoryMode> bySerialNumber(std::vector<QenCategoryMode> categories) {
    std::stable_sort(
        categories.begin(), categories.end(), [](const QenCategoryMode& left, const QenCategoryMode& right) {
            return left.category_serialnum() < right.category_serialnum();
        });
    return categories;
}

QenTrustedAppWindow::QenTrustedAppWindow(QenCloudLoginHelper& login, QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      m_login(login), m_reader(Deployment::BundleIdentifier + u".trustedapps"_s) {
    m_ui.setupUi(this);
    setAttribute(Qt::WA_DeleteOnClose);
    setAccessibleName(qtTrId("AvailableApplications"));
    Theme::setPicture(m_ui.emptyPicture, u"empty"_s, EmptyPictureSize);
    connect(m_ui.trustlistBtn, &QPushButton::clicked, this, &QenTrustedAppWindow::loadTrustedApp);
    connect(m_ui.closeBtn, &QPushButton::clicked, this, &QWidget::close);
}

void QenTrustedAppWindow::openOver(const QWidget* window) {
    if (!isVisible()) {
        const QRect area = BaseWindowController::areaAround(window ? *window : *this);
        resize(WindowSize.boundedTo(area.size()));
        if (window)
            move(BaseWindowController::originWithin(area, size(), window->geometry()));
    }
    loadTrustedApp();
    BaseWindowController::makeKeyAndOrderFront(*this);
}

void QenTrustedAppWindow::loadTrustedApp() {
    m_reader.async([&login = m_login, view = QPointer(this)] {
        const QVariantList list = login.TrustedsAppList();
        Platform::systemLog(consoleText(list));
        Platform::mainQueue().async([view, categories = trustedCategories(list)] {
            if (!view)
                return;
            view->m_categoryModes = categories;
            view->loadSubView();
        });
    });
}

void QenTrustedAppWindow::loadSubView() {
    QListWidget* list = m_ui.trustListView;
    list->clear();
    const QIcon picture = Theme::icon(u"AppIcon"_s);
    for (const QenCategoryMode& category : bySerialNumber(m_categoryModes)) {
        Platform::systemLog(u"type-%1,name-%2"_s.arg(category.category_serialnum()).arg(category.categoryType()));
        auto* heading = new QListWidgetItem(category.categoryType().left(LongestName), list);
        heading->setToolTip(toolTipText(category.categoryType()));
        heading->setFont(Theme::font(Theme::TextSize::Heading));
        heading->setSizeHint({0, Theme::roomFor(HeadingHeight)});
        heading->setFlags(Qt::ItemIsEnabled);
        for (const QString& name : category.trustedAppList()) {
            auto* row = new QListWidgetItem(picture, name.left(LongestName), list);
            row->setToolTip(toolTipText(name));
            row->setSizeHint({0, Theme::roomFor(RowHeight)});
            row->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        }
    }
    const bool isFirst = m_ui.listStates->currentIndex() > ListEmpty;
    m_ui.listStates->setCurrentIndex(m_categoryModes.empty() ? ListEmpty : ListShown);
    if (isFirst)
        list->setFocus();
}
