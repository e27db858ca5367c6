#include "QenHelpWebWindowController.h"

#include "BaseWindowController.h"
#include "Theme.h"

#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QListWidget>
#include <QScreen>
#include <QTextBrowser>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int TopicsWidth = 216;
constexpr int Shift = 50;

struct Topic {
    const char16_t* title;
    /// Names the page and is the tag; those of the compliance checks stand as keywords in the check catalogue.
    const char16_t* page;
};

constexpr Topic Topics[] = {{u"连接管理服务器", u"connect"}, {u"登录与退出", u"signin"}, {u"密码", u"password"},
    {u"合规检测", u"compliance"}, {u"磁盘加密", u"disk"}, {u"主机防火墙", u"firewall"}, {u"客户端版本", u"version"},
    {u"加入域", u"domain"}, {u"窗口、托盘与菜单", u"windows"}, {u"遇到问题", u"problems"}};

/// The look of the pages, from the theme's values.
QString pageStyle() {
    return u"body { color: %1; }"
           "p, li { font-size: %4px; line-height: 125%; margin-top: 4px; margin-bottom: 4px; }"
           "ul, ol { margin-top: 4px; margin-bottom: 8px; }"
           ".page { font-size: %2px; font-weight: 500; margin-top: 0; margin-bottom: 12px; }"
           ".heading { font-size: %3px; font-weight: 500; margin-top: 20px; }"
           ".note { color: %5; margin-top: 12px; }"
           "code { background-color: %6; }"_s.arg(Theme::color(Theme::Color::Text).name())
               .arg(static_cast<int>(Theme::TextSize::Page))
               .arg(static_cast<int>(Theme::TextSize::Heading))
               .arg(static_cast<int>(Theme::TextSize::Body))
               .arg(Theme::color(Theme::Color::SecondText).name())
               .arg(Theme::color(Theme::Color::Ground).name());
}

} // namespace

QenHelpWebWindowController::QenHelpWebWindowController(QWidget* parent)
    : QDialog(parent, Qt::Window), m_topics(new QListWidget(this)), m_page(new QTextBrowser(this)) {
    setObjectName(u"QenHelpWebWindowController"_s);
    setAccessibleName(u"帮助"_s);
    m_topics->setObjectName(u"helpTopics"_s);
    m_topics->setAccessibleName(u"帮助主题"_s);
    m_page->setObjectName(u"helpPage"_s);
    m_page->setAccessibleName(u"帮助内容"_s);
    m_page->setOpenLinks(false);
    m_page->document()->setDefaultStyleSheet(pageStyle());
    m_page->document()->setDocumentMargin(Theme::Space32);
    m_page->document()->setIndentWidth(Theme::Space24);

    auto* side = new QFrame(this);
    side->setObjectName(u"leftBar"_s);
    side->setFixedWidth(TopicsWidth);
    auto* sideLayout = new QHBoxLayout(side);
    sideLayout->setContentsMargins(Theme::Space12, Theme::Space16, Theme::Space12, Theme::Space16);
    sideLayout->addWidget(m_topics);
    auto* ground = new QFrame(this);
    ground->setObjectName(u"boxGround"_s);
    auto* groundLayout = new QHBoxLayout(ground);
    // For the focus ring.
    groundLayout->setContentsMargins(Theme::Space4, Theme::Space4, Theme::Space4, Theme::Space4);
    groundLayout->addWidget(m_page);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(side);
    layout->addWidget(ground, 1);
    addTopics();
    connect(m_topics, &QListWidget::currentRowChanged, this, &QenHelpWebWindowController::showTopic);
}

void QenHelpWebWindowController::addTopics() {
    for (const Topic& topic : Topics)
        m_topics->addItem(QString::fromUtf16(topic.title));
}

void QenHelpWebWindowController::loadHelpView() {
    if (m_topics->currentRow() < 0)
        m_topics->setCurrentRow(0);
    m_topics->setFocus();
}

void QenHelpWebWindowController::loadHelpWithTag(const QString& tag) {
    const auto* topic = std::find_if(
        std::begin(Topics), std::end(Topics), [&tag](const Topic& one) { return QStringView(one.page) == tag; });
    const int row = topic == std::end(Topics) ? 0 : static_cast<int>(topic - std::begin(Topics));
    m_topics->setCurrentRow(row);
    // A topic that was shown already may have been scrolled.
    showTopic(row);
    m_topics->setFocus();
}

QRect QenHelpWebWindowController::frameOver(const QRect& window, const QRect& screen) {
    const QSize size = Theme::HelpWindowSize.boundedTo(screen.size());
    return {BaseWindowController::originWithin(screen, size, window.translated(Shift, -Shift)), size};
}

void QenHelpWebWindowController::openOver(const QWidget* window) {
    setWindowState(windowState() & ~(Qt::WindowMaximized | Qt::WindowFullScreen));
    const QRect area =
        window ? BaseWindowController::areaAround(*window) : QGuiApplication::primaryScreen()->availableGeometry();
    setGeometry(frameOver(window ? window->window()->geometry() : area, area));
    BaseWindowController::makeKeyAndOrderFront(*this);
}

void QenHelpWebWindowController::showTopic(int row) {
    if (row >= 0 && row < static_cast<int>(std::size(Topics)))
        m_page->setSource(QUrl(u"qrc:/help/%1.html"_s.arg(QString::fromUtf16(Topics[row].page))));
}
