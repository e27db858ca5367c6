#include "QenHelpWebWindowController.h"

#include "Theme.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QListWidget>
#include <QTextBrowser>

namespace {

constexpr int TopicsWidth = 216;

struct Topic {
    const char16_t* title;
    const char16_t* page;
};

constexpr Topic Topics[] = {{u"连接管理服务器", u"connect"},
                            {u"登录与退出", u"signin"},
                            {u"密码", u"password"},
                            {u"窗口、托盘与菜单", u"windows"},
                            {u"遇到问题", u"problems"}};

/// The look of the pages, from the theme's values.
QString pageStyle() {
    return QStringLiteral("body { color: %1; line-height: 160%; }"
                          "p, li { font-size: %4px; line-height: 160%; margin-top: 4px; margin-bottom: 4px; }"
                          ".page { font-size: %2px; font-weight: 500; margin-bottom: 12px; }"
                          ".heading { font-size: %3px; font-weight: 500; margin-top: 20px; }"
                          ".note { color: %5; }")
        .arg(Theme::color(Theme::Color::Text).name())
        .arg(static_cast<int>(Theme::TextSize::Page))
        .arg(static_cast<int>(Theme::TextSize::Heading))
        .arg(static_cast<int>(Theme::TextSize::Body))
        .arg(Theme::color(Theme::Color::SecondText).name());
}

} // namespace

QenHelpWebWindowController::QenHelpWebWindowController(QWidget* parent)
    : BaseWindowController(parent), m_topics(new QListWidget(this)), m_page(new QTextBrowser(this)) {
    setObjectName(QStringLiteral("QenHelpWebWindowController"));
    setAccessibleName(QStringLiteral("帮助"));
    m_topics->setObjectName(QStringLiteral("helpTopics"));
    m_topics->setAccessibleName(QStringLiteral("帮助主题"));
    m_page->setObjectName(QStringLiteral("helpPage"));
    m_page->setAccessibleName(QStringLiteral("帮助内容"));
    m_page->setOpenLinks(false);
    m_page->document()->setDefaultStyleSheet(pageStyle());
    m_page->document()->setDocumentMargin(Theme::Space32);

    auto* side = new QFrame(this);
    side->setObjectName(QStringLiteral("leftBar"));
    side->setFixedWidth(TopicsWidth);
    auto* sideLayout = new QHBoxLayout(side);
    sideLayout->setContentsMargins(Theme::Space12, Theme::Space16, Theme::Space12, Theme::Space16);
    sideLayout->addWidget(m_topics);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(side);
    layout->addWidget(m_page, 1);
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

void QenHelpWebWindowController::showTopic(int row) {
    if (row >= 0 && row < static_cast<int>(std::size(Topics)))
        m_page->setSource(QUrl(QStringLiteral("qrc:/help/%1.html").arg(QString::fromUtf16(Topics[row].page))));
}

void QenHelpWebWindowController::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        close();
    else
        BaseWindowController::keyPressEvent(event);
}
