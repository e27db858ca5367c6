#include "QenHelpWebWindowController.h"

#include "BaseWindowController.h"
#include "Theme.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int Shift = 50;
constexpr int TopicsWidth = 216;

struct Topic {
    const char16_t* title;
    /// Names the page and is the tag; those of the compliance checks stand as keywords in the check catalogue.
    const char16_t* page;
};

constexpr Topic Topics[] = {{u"连接管理服务器", u"connect"}, {u"登录与退出", u"signin"}, {u"密码", u"password"},
    {u"合规检测", u"compliance"}, {u"磁盘加密", u"disk"}, {u"主机防火墙", u"firewall"}, {u"客户端版本", u"version"},
    {u"加入域", u"domain"}, {u"窗口、托盘与菜单", u"windows"}, {u"遇到问题", u"problems"}};

const QString PageStyle = u"body { color: %Text%; }"
                          "p, li { font-size: %Body%px; line-height: 125%; margin-top: 4px; margin-bottom: 4px; }"
                          "ul, ol { margin-top: 4px; margin-bottom: 8px; }"
                          ".page { font-size: %Page%px; font-weight: 500; margin-top: 0; margin-bottom: 12px; }"
                          ".heading { font-size: %Heading%px; font-weight: 500; margin-top: 20px; }"
                          ".note { color: %SecondText%; margin-top: 12px; }"
                          "code { background-color: %Ground%; }"_s;

} // namespace

QenHelpWebWindowController::QenHelpWebWindowController(QWidget* parent) : QDialog(parent, Qt::Window) {
    m_ui.setupUi(this);
    m_ui.leftBar->setFixedWidth(Theme::roomFor(TopicsWidth, 6));
    m_ui.helpPage->document()->setDefaultStyleSheet(Theme::filledIn(PageStyle));
    m_ui.helpPage->document()->setDocumentMargin(Theme::Space32);
    m_ui.helpPage->document()->setIndentWidth(Theme::Space24);
    for (const Topic& topic : Topics)
        m_ui.helpTopics->addItem(QString::fromUtf16(topic.title));
    connect(m_ui.helpTopics, &QListWidget::currentRowChanged, this, &QenHelpWebWindowController::showTopic);
}

void QenHelpWebWindowController::loadHelpView() {
    if (m_ui.helpTopics->currentRow() < 0)
        m_ui.helpTopics->setCurrentRow(0);
    m_ui.helpTopics->setFocus();
}

void QenHelpWebWindowController::loadHelpWithTag(const QString& tag) {
    const auto* topic = std::find_if(
        std::begin(Topics), std::end(Topics), [&tag](const Topic& one) { return QStringView(one.page) == tag; });
    const int row = topic == std::end(Topics) ? 0 : static_cast<int>(topic - std::begin(Topics));
    m_ui.helpTopics->setCurrentRow(row);
    // A topic that was shown already may have been scrolled.
    showTopic(row);
    m_ui.helpTopics->setFocus();
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
        m_ui.helpPage->setSource(QUrl(u"qrc:/help/%1.html"_s.arg(QString::fromUtf16(Topics[row].page))));
}
